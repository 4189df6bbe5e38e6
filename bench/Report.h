#pragma once

#include "bench/Statistics.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace ZELBench {

/// One line of the table; empty cells print as a dash.
struct Row {
  std::string measure;
  std::string projection;
  std::string frame;
  std::string kit;
  std::string sameWork;
  std::string sameWorkRatio;
  std::string flatQuad;
  std::string flatQuadRatio;
  /// The other back end of the kit.
  std::string openGL;
  std::string openGLRatio;
};

/// Gathers the table, judges figures against their targets, and counts what came of it.
class Report {
 public:
  /// "24.1 ms (3 %)": median and spread.
  static std::string timeCell(const Distribution& milliseconds);

  /// Ratio of the medians; judged against the limit if that is above 0 and both spreads are narrow enough.
  std::string ratioCell(const Distribution& kit, const Distribution& floor, double limit);

  /// A figure of its own against a limit in the same unit; judged if the median is surely on one side of it. `text` is
  /// the figure for people.
  std::string limitCell(const std::string& text, const Distribution& figure, double limit,
                        const std::string& limitText);

  /// A count against the largest that is allowed.
  std::string countCell(uint64_t count, uint64_t limit);

  void add(Row row) { rows_.push_back(std::move(row)); }

  /// Notes that a measurement did not measure what it says; the run then counts as failed.
  void addFault(const std::string& sentence);

  bool isEmpty() const { return rows_.empty(); }
  bool hasFaults() const { return !faults_.empty(); }

  /// The table, in order of measure, as Markdown, with a closing line.
  void print(std::ostream& out) const;

 private:
  /// Why the figure cannot be judged; empty if it can.
  static std::string doubtAbout(const Distribution& figure);
  /// `doubt` empty: passes or misses.
  std::string verdict(bool reached, const std::string& doubt, const std::string& limitText);

  std::vector<Row> rows_;
  std::vector<std::string> faults_;
  int passes_ = 0;
  int misses_ = 0;
  int notJudged_ = 0;
};

/// The machine, the driver and the build, as a Markdown list; by kind, without names.
void printCircumstances(std::ostream& out, size_t samples);

}  // namespace ZELBench
