#include "reports/tune_report.hpp"

#include <algorithm>

#include "parameters/json.hpp"
#include "reports/run_info.hpp"
#include "reports/tune_page.hpp"
#include "text/json.hpp"
#include "text/text.hpp"
#include "zeto/version.h"

namespace zeto::tool {
namespace {

Json members_of(const Counts& counts) {
  return {{"right", counts.right},
          {"wrong", counts.wrong},
          {"missed", counts.missed},
          {"false", counts.falsely},
          {"silent", counts.silent}};
}

Json members_of(const std::vector<std::string>& names, const std::vector<Counts>& counts) {
  Json json = Json::array();
  for (size_t i = 0; i < names.size(); ++i) {
    json.push_back({{"name", names[i]}});
    json.back().update(members_of(counts[i]));
  }
  return json;
}

Json json_of(const Tuned& tuned) {
  Json json{{"version", ZETO_VERSION_STRING},
            {"cost", tuned.scoring.cost},
            {"two_of_five", tuned.scoring.two_of_five},
            {"files", tuned.truth.files.size()}};
  json["grid"] = Json::array();
  for (const GridAxis& axis : tuned.axes) json["grid"].push_back({{"name", axis.name}, {"values", axis.values}});
  json["faults"] = Json::array();
  for (size_t i = 0; i < tuned.faults.size(); ++i) {
    if (!tuned.faults[i].empty())
      json["faults"].push_back({{"file", tuned.truth.files[i]}, {"error", tuned.faults[i]}});
  }
  json["sets"] = Json::array();
  for (size_t rank = 0; rank < tuned.ranking.size(); ++rank) {
    const size_t c = tuned.ranking[rank];
    Candidate candidate = tuned.candidates[c];
    Json set{{"rank", rank + 1},
             {"name", candidate.name},
             {"given", c},
             {"base", candidate.base},
             {"score", tuned.total[c].score(tuned.scoring.cost)}};
    set.update(members_of(tuned.total[c]));
    set["values"] = candidate.values;
    set["parameters"] = json_of(parameters_of(candidate.set.hear));
    set["labels"] = members_of(tuned.truth.labels, tuned.by_label[c]);
    set["recordings"] = members_of(tuned.truth.files, tuned.by_file[c]);
    json["sets"].push_back(std::move(set));
  }
  return json;
}

std::string side_by_side(const Tuned& tuned, size_t first, size_t best) {
  size_t width = 5;
  for (const auto& label : tuned.truth.labels) width = std::max(width, label.size());
  std::string lines =
      text("\nfirst: %s\nbest:  %s\n", tuned.candidates[first].name.c_str(), tuned.candidates[best].name.c_str()) +
      text("%-*s  %-29s %s\n%-*s", static_cast<int>(width), "", "  first", "   best", static_cast<int>(width), "label");
  for (int i = 0; i < 2; ++i) lines += text("%s  right  wrong missed  false", i == 0 ? "" : " |");
  lines += "\n";
  const auto row = [&](const std::string& name, const Counts& a, const Counts& b) {
    lines += text("%-*s", static_cast<int>(width), printable(name).c_str());
    for (const Counts* counts : {&a, &b}) {
      lines += text("%s  %5u  %5u  %5u  %5u", counts == &a ? "" : " |", counts->right, counts->wrong, counts->missed,
                    counts->falsely);
    }
    lines += "\n";
  };
  for (size_t label = 0; label < tuned.truth.labels.size(); ++label) {
    row(tuned.truth.labels[label], tuned.by_label[first][label], tuned.by_label[best][label]);
  }
  row("all", tuned.total[first], tuned.total[best]);
  return lines;
}

/// For each value of a parameter the best set that has it.
std::string curve(const Tuned& tuned, size_t axis) {
  std::string lines = "\n" + tuned.axes[axis].name + ", each with the best of the others:\n" +
                      "     value      score  right  wrong missed  false\n";
  for (const int32_t value : tuned.axes[axis].values) {
    const auto c = *std::find_if(tuned.ranking.begin(), tuned.ranking.end(),
                                 [&](size_t i) { return tuned.candidates[i].values[axis] == value; });
    const Counts& counts = tuned.total[c];
    lines += text("%10d  %9g  %5u  %5u  %5u  %5u\n", value, counts.score(tuned.scoring.cost), counts.right,
                  counts.wrong, counts.missed, counts.falsely);
  }
  return lines;
}

}  // namespace

std::string tune_table(const Tuned& tuned, size_t most) {
  const Counts& any = tuned.total.front();
  std::string lines =
      text("%zu recordings, %zu sets; %u analyses with somebody there, %u with nobody\n", tuned.truth.files.size(),
           tuned.candidates.size(), any.right + any.wrong + any.missed, any.falsely + any.silent) +
      text("score: right less %g for each that is wrong or false\n\n", tuned.scoring.cost) +
      "rank      score  right  wrong missed  false  set\n";
  const size_t shown = std::min(most, tuned.ranking.size());
  for (size_t rank = 0; rank < shown; ++rank) {
    const size_t c = tuned.ranking[rank];
    const Counts& counts = tuned.total[c];
    lines += text("%4zu  %9g  %5u  %5u  %5u  %5u  %s\n", rank + 1, counts.score(tuned.scoring.cost), counts.right,
                  counts.wrong, counts.missed, counts.falsely, tuned.candidates[c].name.c_str());
  }
  if (shown < tuned.ranking.size()) lines += text("(and %zu more: --top)\n", tuned.ranking.size() - shown);
  lines += side_by_side(tuned, 0, tuned.ranking.front());
  for (size_t axis = 0; axis < tuned.axes.size(); ++axis) {
    if (tuned.axes[axis].values.size() > 2) lines += curve(tuned, axis);
  }
  return lines;
}

std::string tune_csv(const Tuned& tuned, bool heading) {
  std::string lines = heading ? "rank,set,score,label,right,wrong,missed,false,silent,parameters,version\n" : "";
  for (size_t rank = 0; rank < tuned.ranking.size(); ++rank) {
    const size_t c = tuned.ranking[rank];
    const std::string head = text("%zu,", rank + 1) + csv_cell(tuned.candidates[c].name) +
                             text(",%g,", tuned.total[c].score(tuned.scoring.cost));
    const std::string tail =
        digest_of(tuned.candidates[c].set, tuned.steps, tuned.scoring.words()) + "," ZETO_VERSION_STRING "\n";
    for (size_t label = 0; label < tuned.truth.labels.size(); ++label) {
      const Counts& counts = tuned.by_label[c][label];
      lines += head + csv_cell(tuned.truth.labels[label]) +
               text(",%u,%u,%u,%u,%u,", counts.right, counts.wrong, counts.missed, counts.falsely, counts.silent) +
               tail;
    }
  }
  return lines;
}

std::string tune_json(const Tuned& tuned) {
  return text_of(json_of(tuned)) + "\n";
}

std::string tune_page(const Tuned& tuned) {
  std::string data = text_of(json_of(tuned));
  for (size_t at = 0; (at = data.find('<', at)) != std::string::npos;)
    data.replace(at, 1, "\\u003c");  // no end of script
  return std::string(kTunePageHead) + data + kTunePageTail;
}

std::string parameters_json(const Candidate& candidate) {
  Candidate copy = candidate;
  Json json = Json::object();
  if (is_for_kit(copy.set)) json["set"] = copy.set.name;
  json.update(json_of(parameters_of(copy.set.chirp)));
  if (has_sweeps(copy.set)) {
    json["restart_ms"] = restarts_of(copy.set);
    json["fade_ms"] = static_cast<float>(copy.set.sweep.fade_us) / 1000.0F;
  }
  json.update(json_of(parameters_of(copy.set.hear)));
  return json.dump(2) + "\n";
}

}  // namespace zeto::tool
