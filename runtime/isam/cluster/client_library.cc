// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/client_library.h"

#include "runtime/platform/shared_library.h"

namespace marigold::inner::isam {
namespace {

constexpr const char* kName = "libpq.so.5";

struct State {
  ClientLibrary library{};
  bool loaded = false;
};

State state;

template <typename Function>
bool take(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(shared_library_function(library, name));
  return function != nullptr;
}

bool take_all(void* from, ClientLibrary& to) {
  return take(from, "PQclear", to.PQclear) &&
         take(from, "PQconnectdbParams", to.PQconnectdbParams) &&
         take(from, "PQconninfoFree", to.PQconninfoFree) &&
         take(from, "PQconninfoParse", to.PQconninfoParse) &&
         take(from, "PQenterPipelineMode", to.PQenterPipelineMode) &&
         take(from, "PQerrorMessage", to.PQerrorMessage) && take(from, "PQexec", to.PQexec) &&
         take(from, "PQexitPipelineMode", to.PQexitPipelineMode) &&
         take(from, "PQfinish", to.PQfinish) && take(from, "PQfreemem", to.PQfreemem) &&
         take(from, "PQgetCopyData", to.PQgetCopyData) &&
         take(from, "PQgetResult", to.PQgetResult) && take(from, "PQgetisnull", to.PQgetisnull) &&
         take(from, "PQgetlength", to.PQgetlength) && take(from, "PQgetvalue", to.PQgetvalue) &&
         take(from, "PQntuples", to.PQntuples) && take(from, "PQpingParams", to.PQpingParams) &&
         take(from, "PQpipelineSync", to.PQpipelineSync) &&
         take(from, "PQputCopyData", to.PQputCopyData) &&
         take(from, "PQputCopyEnd", to.PQputCopyEnd) &&
         take(from, "PQresultErrorField", to.PQresultErrorField) &&
         take(from, "PQresultStatus", to.PQresultStatus) &&
         take(from, "PQsendPrepare", to.PQsendPrepare) &&
         take(from, "PQsendQueryPrepared", to.PQsendQueryPrepared) &&
         take(from, "PQsetNoticeProcessor", to.PQsetNoticeProcessor) &&
         take(from, "PQsocket", to.PQsocket) && take(from, "PQstatus", to.PQstatus);
}

}  // namespace

const ClientLibrary* client_library(std::string& reason) {
  if (state.loaded) return &state.library;
  void* const library = shared_library_load(kName, reason);
  if (library != nullptr && !take_all(library, state.library))
    reason = std::string(kName) + " is older than version 14 of PostgreSQL";
  state.loaded = library != nullptr && reason.empty();
  if (!state.loaded) reason = "the client library of PostgreSQL cannot be loaded: " + reason;
  return state.loaded ? &state.library : nullptr;
}

}  // namespace marigold::inner::isam
