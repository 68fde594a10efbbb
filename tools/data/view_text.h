// SPDX-License-Identifier: GPL-3.0-or-later
// The SQL of a view that shows the records of a data file in a cluster as typed columns.
//
//   CHAR, STRING               text, up to the first zero byte
//   INT, LONGINT, KETTHEAD     smallint, integer, integer
//   REAL                       double precision
//   DATE, TIME                 date, time; NULL for a number that is none
//
// A field of several elements has the columns NAME_1, NAME_2 and so on. Only live records are there.
// No record makes a query fail.
#pragma once

#include <string>

#include "runtime/data/definition/definition.h"
#include "runtime/texte/code_set.h"

namespace marigold::inner {

struct ViewText {
  std::string name;     // quoted, with its schema
  std::string columns;  // the query
};

// Returns a name or a text as SQL has them.
std::string sql_name(std::string_view name);
std::string sql_text(std::string_view text);

// Makes the text for the table of this quoted name, "SCHEMA"."TABLE", in whose schema the view has
// the file's name. Two-digit years lie in the hundred years from `first_year` on; the year 00 is
// none. Returns false and the problem for a code set with characters of several bytes.
bool make_view_text(const FileDefinition& file, const std::string& table, const CodeSet& code_set,
                    int first_year, ViewText& view, std::string& problem);

}  // namespace marigold::inner
