#include "reports/simulation_report.hpp"

#include "text/json.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

std::optional<double> error_of(const Shown& shown) {
  if (!shown.true_cm || !shown.shown_cm) return std::nullopt;
  return *shown.shown_cm - *shown.true_cm;
}

std::string cell(std::optional<double> value, int digits, const char* without) {
  return value ? text("%.*f", digits, *value) : without;
}

std::string signed_cell(std::optional<double> value, int digits, const char* without) {
  return value ? text("%+.*f", digits, *value) : without;
}

Json json_of(std::optional<double> value) {
  return value ? Json(*value) : Json(nullptr);
}

Json json_of(const Shown& shown) {
  return {{"time_s", shown.time_s},
          {"state", shown.state},
          {"cause", shown.cause.empty() ? Json(nullptr) : Json(shown.cause)},
          {"true_cm", json_of(shown.true_cm)},
          {"shown_cm", json_of(shown.shown_cm)}};
}

}  // namespace

std::string table_of(const Simulation& simulation) {
  std::string lines = "  time_s  true_cm  shown_cm  error_cm  state\n";
  for (const Shown& shown : simulation.shown) {
    lines += text("%8.2f  %7s  %8s  %8s  %s%s\n", shown.time_s, cell(shown.true_cm, 1, "-").c_str(),
                  cell(shown.shown_cm, 1, "-").c_str(), signed_cell(error_of(shown), 1, "-").c_str(),
                  shown.state.c_str(), shown.cause.empty() ? "" : (" (" + shown.cause + ")").c_str());
  }
  const Score& score = simulation.score;
  return lines + text(
                     "target there: shown in %zu of %zu, within %.1f cm in %zu; nobody there: shown in %zu of %zu; "
                     "disturbed: %zu\n",
                     score.shown, score.present, kRightCm, score.right, score.wrong, score.absent, score.disturbed);
}

std::string csv_of(const Simulation& simulation) {
  std::string lines = "time_s,state,cause,true_cm,shown_cm,error_cm\n";
  for (const Shown& shown : simulation.shown) {
    lines += text("%.3f,%s,%s,%s,%s,%s\n", shown.time_s, shown.state.c_str(), shown.cause.c_str(),
                  cell(shown.true_cm, 2, "").c_str(), cell(shown.shown_cm, 2, "").c_str(),
                  cell(error_of(shown), 2, "").c_str());
  }
  return lines;
}

std::string json_of(const Simulation& simulation, const zeto_set& set, const Scene& scene) {
  Json json{{"set", set.name}, {"seed", scene.seed}, {"latency_ms", scene.latency_ms}, {"direct", scene.direct}};
  json["learned"] = simulation.learned ? Json{{"latency_ms", simulation.learned->latency_ms},
                                              {"sureness_db", simulation.learned->sureness_db},
                                              {"background_db", simulation.learned->background_db},
                                              {"drift_ppm", simulation.learned->drift_ppm}}
                                       : Json(nullptr);
  json["readings"] = Json::array();
  for (const Shown& shown : simulation.shown) json["readings"].push_back(json_of(shown));
  const Score& score = simulation.score;
  json["score"] = {{"present", score.present}, {"shown", score.shown}, {"right", score.right},
                   {"absent", score.absent},   {"wrong", score.wrong}, {"disturbed", score.disturbed}};
  json["truth"] = {{"step_s", 0.01}, {"cm", Json::array()}};
  for (const auto& cm : simulation.truth) json["truth"]["cm"].push_back(json_of(cm));
  return text_of(json) + "\n";
}

}  // namespace zeto::tool
