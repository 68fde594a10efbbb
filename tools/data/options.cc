// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/data/options.h"

#include <memory>

#include "tools/common/report.h"
#include "tools/data/commands.h"

namespace marigold::inner {
namespace {

constexpr int kLastClass = 30;  // of the path classes

void register_scan(Command data) {
  Command command = data.command("scan", "Look for faults in definition sets");
  const auto options = std::make_shared<DataScan>();
  command
      .word("SET", options->sets,
            "The set DATA is the file FILEDATA.DES in the directory DEFINITION_DIRECTORY "
            "(default ./definitions). With a \"/\" or \".DES\" at its end it is a path")
      .required();
  command.flag("--json", options->json,
               "Write each finding and each summary as a JSON object on a line");
  command.footer(
      "Each set is checked by itself. Standard output gets the findings, or how many files, fields\n"
      "and keys a set without errors defines.\n"
      "Exit status 0: no errors; 1: errors; 2: a set cannot be read.\n"
      "Example:\n"
      "  marigold data scan DATA ./new/FILEDATA.DES\n");
  command.action([options] { return data_scan(*options); });
}

void add_file(Command command, DataFileOptions& file) {
  command.word("FILE", file.file, "The name of the file in its definition set").required();
}

void add_place(Command command, DataFileOptions& file) {
  command.option("--set", "SET", file.set,
                 "The definition set, as for scan (default: the one in DEFINITION_DIRECTORY that "
                 "defines the file)");
  command.option("--path", "BASE", file.path,
                 "Where the file lies, without .dat (default: in the directory of its path class, "
                 "DATA_DIRECTORY)");
}

void add_code_set(Command command, std::string& code_set) {
  command
      .option("--code-set", "NAME", code_set,
              "The code set of the texts in the file; lines are UTF-8 (default 8859)")
      .initial("8859");
}

void register_info(Command data) {
  Command command = data.command("info", "Show the definition, size and state of a data file");
  const auto options = std::make_shared<DataInfo>();
  add_file(command, options->file);
  add_place(command, options->file);
  command.flag("--json", options->json, "Write a JSON object");
  command.footer(
      "Exit status 0: done; 1: the file is damaged or differs from its\n"
      "definition; 2: unusable.\n");
  command.action([options] { return data_info(*options); });
}

void register_check(Command data) {
  Command command = data.command("check", "Look for damage in data files");
  const auto options = std::make_shared<DataCheck>();
  command.word("FILE", options->files, "Names of files in their definition sets").required();
  add_place(command, options->file);
  command.flag("--quick", options->quick,
               "Check only headers, sizes, versions and leftovers, not records and indexes");
  command.flag("--json", options->json, "Write one JSON object for all files");
  command.footer("Exit status 0: no damage; 1: findings; 2: a file cannot be checked.\n");
  command.action([options] { return data_check(*options); });
}

void register_rebuild(Command data) {
  Command command = data.command("rebuild", "Rebuild the indexes of a data file from its records");
  const auto options = std::make_shared<DataRebuild>();
  add_file(command, options->file);
  add_place(command, options->file);
  command.footer("Exit status 0: done; 1: done, and records were lost; 2: not done.\n");
  command.action([options] { return data_rebuild(*options); });
}

void register_recover(Command data) {
  Command command =
      data.command("recover", "Recover the records of a data file whose header is damaged");
  const auto options = std::make_shared<DataRecover>();
  add_file(command, options->file);
  add_place(command, options->file);
  command.footer(
      "Record length and keys come from the definition. The damaged file stays beside the new one\n"
      "when something is lost or not certain.\n"
      "Exit status 0: done; 1: done, and records were lost or are not certain; 2: not done.\n");
  command.action([options] { return data_recover(*options); });
}

void register_compact(Command data) {
  Command command = data.command("compact", "Give back the space of a data file's deleted records");
  const auto options = std::make_shared<DataCompact>();
  add_file(command, options->file);
  add_place(command, options->file);
  command.footer(
      "No program may use the file meanwhile. For a while it takes the space of a second, smaller\n"
      "file.\n"
      "Exit status 0: done; 1: done, and the file differs from its definition; 2: not done.\n");
  command.action([options] { return data_compact(*options); });
}

void register_dump(Command data) {
  Command command = data.command("dump", "Write the records of a data file as CSV or JSON");
  const auto options = std::make_shared<DataDump>();
  add_file(command, options->file);
  add_place(command, options->file);
  add_code_set(command, options->code_set);
  command.flag("--json", options->json, "Write a JSON object a line");
  command.option("--key", "NUMBER", options->key, "In the order of this key (default 1)");
  command.option("--from", "VALUE", options->from,
                 "Begin with this key value: the first parts of it, separated by commas");
  command.option("--to", "VALUE", options->to, "End with the last record of this key value");
  command.option("-o,--output", "PATH", options->output, "Write a file (default: standard output)");
  command.flag("--snapshot", options->snapshot,
               "The records of one moment, whatever programs change meanwhile");
  command.footer(
      "Exit status 0: done; 1: records were left out; 2: not done.\n"
      "Example:\n"
      "  marigold data dump CUSTOMER --key 2 --from M --to O -o customers.csv\n");
  command.action([options] { return data_dump(*options); });
}

void register_load(Command data) {
  Command command = data.command("load", "Write records from CSV or JSON into a data file");
  const auto options = std::make_shared<DataLoad>();
  add_file(command, options->file);
  command.word("INPUT", options->input,
               "CSV with the fields' names in its first line, or JSON lines in a file "
               "*.json, *.jsonl or *.ndjson (default: standard input)");
  add_place(command, options->file);
  add_code_set(command, options->code_set);
  CommandOption csv = command.flag(
      "--csv", [options] { options->format = LinesFormat::kCsv; }, "The input is CSV");
  command
      .flag(
          "--json", [options] { options->format = LinesFormat::kJson; },
          "The input has a JSON object a line")
      .excludes(csv);
  command.flag("--replace", options->replace,
               "Replace records whose primary key the file has already");
  command.flag("--force", options->force,
               "Take numbers of a random file that lie far beyond its end");
  command.flag("--keep-going", options->keep_going,
               "Load the good lines even if others are rejected");
  command.footer(
      "Without --keep-going either all lines are loaded or none.\n"
      "Exit status 0: done; 1: lines were rejected; 2: not done.\n");
  command.action([options] { return data_load(*options); });
}

void register_locks(Command data) {
  Command command = data.command("locks", "Show the processes that hold a path class");
  const auto options = std::make_shared<DataLocks>();
  command.word("CLASS", options->path_class, "The number of the class, 0 to 30")
      .required()
      .range(0, kLastClass);
  command.flag("--json", options->json, "Write a JSON object a line");
  command.action([options] { return data_locks(*options); });
}

void register_convert(Command data) {
  Command command =
      data.command("convert", "Bring data files to the versions of their definitions");
  const auto options = std::make_shared<DataConvert>();
  command
      .word("SET", options->sets,
            "All sets that define files of the same directories. As for scan: DATA is "
            "FILEDATA.DES, with a \"/\" or \".DES\" it is a path")
      .required();
  command.option("--class", "N", options->path_class, "Only the files of this path class")
      .range(0, kLastClass);
  command.flag("--dry-run", options->dry_run,
               "Show the files to convert and the changes of their fields");
  command.flag("--keep-backup", options->keep_backup,
               "Keep each old file beside the new one, as NAME.version-N");
  command.footer(
      "The steps from version to version are those of FILEVER.DES. Version N of the file KUNDEN is\n"
      "defined in FILEKUNDEN_N.DES: copy a set under that name before you change it.\n"
      "No program may use the files meanwhile. After an interruption run the command again.\n"
      "Exit status 0: all files have their version; 1: not converted, or --dry-run has found\n"
      "something to convert; 2: a set cannot be read, or a file cannot be written.\n"
      "Example:\n"
      "  marigold data convert --dry-run DATA\n");
  command.action([options] { return data_convert(*options); });
}

CommandOption add_class(Command command, int& path_class, const char* what) {
  return command.option("--class", "N", path_class, what).range(0, kLastClass);
}

void add_set(Command command, std::string& set) {
  command.option("--set", "SET", set, "The definition set, as for scan (default: all of them)");
}

// NAMES come before the last word, so the parser takes all words together and this function splits
// them.
int run_backup(DataBackup options, std::vector<std::string> words) {
  if (options.archive.empty()) {
    if (words.empty()) return report_unusable({"marigold: backup needs a directory, or --archive"});
    options.to = std::move(words.back());
    words.pop_back();
  }
  if (options.selection.path_class >= 0 && !words.empty())
    return report_unusable({"marigold: --class excludes names of files"});
  options.selection.names = std::move(words);
  return data_backup(options);
}

void register_backup(Command data) {
  Command command = data.command("backup", "Copy data files of one moment while programs use them");
  const auto options = std::make_shared<DataBackup>();
  const auto words = std::make_shared<std::vector<std::string>>();
  command.word("FILE... TO", *words,
               "Names of files in their definition sets (default: all that have data), and at "
               "last the directory to be made; with --archive names only");
  add_class(command, options->selection.path_class, "All files of this path class");
  add_set(command, options->selection.set);
  command.option("--archive", "PATH", options->archive,
                 "Write one compressed archive (usually *.tar.zst) in place of a directory");
  command.footer(
      "The files of a path class are all of one moment, and programs go on writing meanwhile.\n"
      "TO must not exist, or must be an empty directory; it appears when the backup is whole.\n"
      "Exit status 0: done; 1: done, but not noted beside the files, or no backup because a random\n"
      "file kept changing; 2: not done.\n"
      "Example:\n"
      "  marigold data backup --class 1 /backups/monday\n");
  command.action([options, words] { return run_backup(*options, *words); });
}

void register_copy(Command data) {
  Command command =
      data.command("copy", "Copy data files between directories and database clusters");
  const auto options = std::make_shared<DataCopy>();
  command.word("FROM", options->from, "The data directory, with %p for the number of the class")
      .required();
  command
      .word("TO", options->to,
            "Where to: a directory, or postgresql://HOSTS/DATABASE/SCHEMA, with %p as well")
      .required();
  CommandOption names = command.word(
      "FILE", options->files, "Names of files in their definition sets, all of one path class");
  add_class(command, options->path_class,
            "All files of this path class that have data, and the version of the class")
      .excludes(names);
  add_set(command, options->set);
  command.flag("--replace", options->replace, "Replace files that TO has already");
  command.flag("--json", options->json, "Write a JSON object for each file, one a line");
  command.footer(
      "The records are of one moment, and programs may go on using FROM. The files appear in TO\n"
      "all together when they are whole. Records with equal keys keep their order.\n"
      "Exit status 0: done; 2: nothing is copied.\n"
      "Example:\n"
      "  marigold data copy --class 1 data/%p postgresql://db1,db2/shop/class_%p\n");
  command.action([options] { return data_copy(*options); });
}

void register_sql(Command data) {
  Command command =
      data.command("sql", "Print a view that shows a file of a cluster as typed columns to SQL");
  const auto options = std::make_shared<DataSql>();
  add_file(command, options->file);
  add_place(command, options->file);
  command
      .option("--code-set", "NAME", options->code_set,
              "The code set of the texts in the file (default 8859)")
      .initial("8859");
  command
      .option("--first-year", "YEAR", options->first_year,
              "Dates have two digits for the year, which is one of the hundred years from here on")
      .range(1, 9900)
      .initial("1901");
  command.flag("--create", options->create, "Make the view, or replace it, in the file's schema");
  command.footer(
      "A field of several elements has the columns NAME_1, NAME_2. A number that is no date or time\n"
      "is NULL. The view has to be dropped before the file is converted or replaced.\n"
      "Exit status 0: done; 2: not done.\n"
      "Example:\n"
      "  marigold data sql CUSTOMER --create\n");
  command.action([options] { return data_sql(*options); });
}

void register_restore(Command data) {
  Command command = data.command("restore", "Restore data files from a backup");
  const auto options = std::make_shared<DataRestore>();
  command.word("FROM", options->from, "The backup: a directory or an archive").required();
  CommandOption names =
      command.word("FILE", options->names, "Names of files (default: all in the backup)");
  add_class(command, options->path_class, "All files of this path class").excludes(names);
  add_set(command, options->set);
  command.flag("--dry-run", options->dry_run, "Check the backup, and change nothing");
  command.footer(
      "The whole backup is checked first. Either all files are restored or none.\n"
      "No program may use the files meanwhile. After an interruption run the command again.\n"
      "Exit status 0: done; 1: the backup is damaged, nothing was changed; 2: not done.\n");
  command.action([options] { return data_restore(*options); });
}

}  // namespace

void data_register(Command tool) {
  Command data = tool.group("data", "Data files and their definitions");
  register_scan(data);
  register_info(data);
  register_check(data);
  register_rebuild(data);
  register_recover(data);
  register_compact(data);
  register_dump(data);
  register_load(data);
  register_locks(data);
  register_convert(data);
  register_copy(data);
  register_sql(data);
  register_backup(data);
  register_restore(data);
}

}  // namespace marigold::inner
