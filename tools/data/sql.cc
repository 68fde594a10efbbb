// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/cluster.h"
#include "tools/data/commands.h"
#include "tools/data/view_text.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

int create(const DataTarget& target, const OpenKeyedFile& file, const ViewText& view) {
  const std::string as = view.name + " AS\n" + view.columns;
  if (issql(file.number(), "CREATE OR REPLACE VIEW " + as) != 0) {
    // A view keeps its rights when it is replaced, but the server lets it keep its columns only.
    const std::string problem = data_error(target.base, iserrno);
    if (issql(file.number(), "DROP VIEW " + view.name + "; CREATE VIEW " + as) != 0)
      return report_unusable({problem});
    report(target.base +
           ": the columns have changed, and the rights on the view are to be granted "
           "again");
  }
  return write_output(target.base + ": view " + view.name + "\n", kExitClean);
}

}  // namespace

int data_sql(const DataSql& options) {
  CodeSet code_set;
  std::string problem;
  if (!code_set.open(options.code_set, problem)) return report_unusable({"marigold: " + problem});
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
  if (!target.in_cluster())
    return report_unusable({target.base + ": lies in a directory; SQL reads files of a database "
                                          "cluster, to which \"marigold data copy\" copies it"});
  OpenKeyedFile file;
  std::string table;
  int failed = file.open(target.table(), kIsInput | kIsReadOnly | kIsManualLock);
  if (failed == 0 && istable(file.number(), table) != 0) failed = iserrno;
  if (failed != 0) return report_unusable({data_error(target.base, failed)});
  if (!check_version(target, problem) || !fits_definition(target, file.number(), problem))
    return report_unusable({target.base + ": " + problem});
  ViewText view;
  if (!make_view_text(*target.definition, table, code_set, options.first_year, view, problem))
    return report_unusable({"marigold: " + problem});
  if (options.create) return create(target, file, view);
  return write_output("CREATE OR REPLACE VIEW " + view.name + " AS\n" + view.columns + ";\n",
                      kExitClean);
}

}  // namespace marigold::inner
