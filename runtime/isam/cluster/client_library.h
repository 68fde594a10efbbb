// SPDX-License-Identifier: GPL-3.0-or-later
// The client library of the database, libpq, loaded when the first file of a cluster is opened.
#pragma once

#include <libpq-fe.h>

#include <string>

namespace marigold::inner::isam {

// The functions that the engine calls, under the library's own names.
struct ClientLibrary {
  decltype(&::PQclear) PQclear;
  decltype(&::PQconnectdbParams) PQconnectdbParams;
  decltype(&::PQconninfoFree) PQconninfoFree;
  decltype(&::PQconninfoParse) PQconninfoParse;
  decltype(&::PQenterPipelineMode) PQenterPipelineMode;
  decltype(&::PQerrorMessage) PQerrorMessage;
  decltype(&::PQexec) PQexec;
  decltype(&::PQexitPipelineMode) PQexitPipelineMode;
  decltype(&::PQfinish) PQfinish;
  decltype(&::PQfreemem) PQfreemem;
  decltype(&::PQgetCopyData) PQgetCopyData;
  decltype(&::PQgetResult) PQgetResult;
  decltype(&::PQgetisnull) PQgetisnull;
  decltype(&::PQgetlength) PQgetlength;
  decltype(&::PQgetvalue) PQgetvalue;
  decltype(&::PQntuples) PQntuples;
  decltype(&::PQpingParams) PQpingParams;
  decltype(&::PQpipelineSync) PQpipelineSync;
  decltype(&::PQputCopyData) PQputCopyData;
  decltype(&::PQputCopyEnd) PQputCopyEnd;
  decltype(&::PQresultErrorField) PQresultErrorField;
  decltype(&::PQresultStatus) PQresultStatus;
  decltype(&::PQsendPrepare) PQsendPrepare;
  decltype(&::PQsendQueryPrepared) PQsendQueryPrepared;
  decltype(&::PQsetNoticeProcessor) PQsetNoticeProcessor;
  decltype(&::PQsocket) PQsocket;
  decltype(&::PQstatus) PQstatus;
};

// Returns the library, or null with the reason. The object stays.
const ClientLibrary* client_library(std::string& reason);

}  // namespace marigold::inner::isam
