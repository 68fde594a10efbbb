// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include "runtime/platform/stream.h"
#include "runtime/texte/code_set.h"
#include "tools/common/json_text.h"
#include "tools/texts/commands.h"
#include "tools/texts/po_file.h"
#include "tools/texts/rules.h"

namespace marigold::inner {
namespace {

std::string as_line(const Finding& finding) {
  return at_line(finding.file, finding.line) + finding.message + "\n";
}

std::string as_json(const Finding& finding) {
  return Json::object({{"file", finding.file},
                       {"line", finding.line},
                       {"rule", finding.rule},
                       {"id", finding.id},
                       {"message", finding.message}})
      .line();
}

void sort_by_line(Findings& findings) {
  std::ranges::stable_sort(findings, {}, &Finding::line);
}

// Returns the findings of all files, by file and line.
Findings find_all(const PoFile& reference, const std::vector<PoFile>& others,
                  const CodeSet& code_set, bool use_fuzzy) {
  Findings all;
  check_reference(reference, use_fuzzy, all);
  check_texts(reference, code_set, use_fuzzy, all);
  sort_by_line(all);
  for (const PoFile& other : others) {
    Findings findings;
    check_translation(reference, other, use_fuzzy, findings);
    check_texts(other, code_set, use_fuzzy, findings);
    sort_by_line(findings);
    all.insert(all.end(), findings.begin(), findings.end());
  }
  return all;
}

}  // namespace

int texts_check(const TextsCheck& options) {
  CodeSet code_set;
  std::string reason;
  if (!code_set.open_for_texts(options.code_set, reason))
    return report_unusable({"marigold: " + reason});
  Problems problems;
  PoFile reference;
  po_load(options.reference, reference, problems);
  std::vector<PoFile> others(options.others.size());
  for (std::size_t i = 0; i < others.size(); ++i)
    po_load(options.others[i], others[i], problems);
  if (!problems.empty()) return report_unusable(problems);
  const Findings findings = find_all(reference, others, code_set, options.use_fuzzy);
  std::string output;
  for (const Finding& finding : findings)
    output += options.json ? as_json(finding) : as_line(finding);
  const int status = write_output(output, findings.empty() ? kExitClean : kExitFindings);
  if (!findings.empty() || options.verbose || stream_is_terminal(Stream::kError))
    report("marigold: " + counted(findings.size(), "finding"));
  return status;
}

}  // namespace marigold::inner
