// Every candidate over every recording, in as few passes over the files as memory allows.
#pragma once
#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "sensing/prepared.hpp"
#include "tuning/candidates.hpp"
#include "tuning/score.hpp"
#include "tuning/truth.hpp"

namespace zeto::tool {

struct Scoring {
  std::optional<double> tolerance;  ///< in the measurement's unit; otherwise a step of the detector, by the kit 2.5 cm
  double cost = kCost;
  bool two_of_five = false;

  /// What is not the default.
  std::string words() const;

 private:
  static constexpr double kCost = 5.0;
};

/// Of one recording, for each candidate: a count per stretch that lies in it.
struct FileCounts {
  std::string fault;  ///< then there are no counts
  std::vector<std::string> warnings;
  std::vector<std::vector<Counts>> of;  ///< [candidate][stretch]
};

/// Whether the host kit measures, rather than the detector alone.
bool is_by_kit(const Candidate& candidate, const HostSteps& steps);

/// @param read  is moved on by the share of the recording that has been read.
FileCounts count_file(const std::string& path, const std::vector<Stretch>& stretches,
                      const std::vector<Candidate>& candidates, const HostSteps& steps, const Scoring& scoring,
                      std::atomic<double>& read);

struct Tuned {
  TruthTable truth;
  std::vector<Candidate> candidates;
  std::vector<GridAxis> axes;
  Scoring scoring;
  HostSteps steps;
  std::vector<Counts> total;                  ///< [candidate]
  std::vector<std::vector<Counts>> by_label;  ///< [candidate][label]
  std::vector<std::vector<Counts>> by_file;   ///< [candidate][file]
  std::vector<std::string> faults;            ///< [file], "" if there is none
  std::vector<size_t> ranking;                ///< candidates, the best first

  /// Empty counts for all.
  void prepare();
  /// Adds a recording's.
  void add(size_t file, const std::vector<Stretch>& stretches, const FileCounts& counts);
  /// To be called when all are in: by score, among equals those with fewer wrong and false ones first.
  void rank();
};

}  // namespace zeto::tool
