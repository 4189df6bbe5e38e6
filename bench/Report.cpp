#include "bench/Report.h"

#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/MTLDevice.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <thread>

namespace ZELBench {

namespace {

std::string fixed(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

std::string loadAverage() {
  double load = 0.0;
  return getloadavg(&load, 1) == 1 ? fixed(load, 2) : "unknown";
}

std::string explicitGpu() {
  const std::shared_ptr<MTLDevice> device = MTLCreateSystemDefaultDevice();
  return device ? device->name() + ", Vulkan" : MTLUnavailableReason();
}

std::string compilerName() {
#if defined(__clang__)
  return "Clang " __clang_version__;
#else
  return "GCC " __VERSION__;
#endif
}

}  // namespace

std::string Report::timeCell(const Distribution& milliseconds) {
  const bool small = milliseconds.median < 0.1;
  const std::string time =
      small ? fixed(milliseconds.median * 1000.0, 1) + " µs" : fixed(milliseconds.median, 2) + " ms";
  return time + " (" + fixed(milliseconds.spread() * 100.0, 0) + " %)";
}

std::string Report::verdict(bool reached, const std::string& doubt, const std::string& limitText) {
  if (!doubt.empty()) {
    ++notJudged_;
    return "*" + doubt + ", not judged (" + limitText + ")*";
  }
  ++(reached ? passes_ : misses_);
  return reached ? "passes (" + limitText + ")" : "**misses (" + limitText + ")**";
}

std::string Report::doubtAbout(const Distribution& figure) {
  if (figure.count < kFewestSamples) return "too few samples";
  return figure.spread() > kWidestSpread ? "spread too wide" : "";
}

std::string Report::ratioCell(const Distribution& kit, const Distribution& floor, double limit) {
  if (floor.median <= 0.0) return "";
  const double ratio = kit.median / floor.median;
  std::string text = fixed(ratio, 2);
  if (limit <= 0.0) return text;
  const std::string doubt = doubtAbout(kit).empty() ? doubtAbout(floor) : doubtAbout(kit);
  return text + " " + verdict(ratio <= limit, doubt, "≤ " + fixed(limit, 2));
}

std::string Report::limitCell(const std::string& text, const Distribution& figure, double limit,
                              const std::string& limitText) {
  std::string doubt;
  if (figure.lowestMedian < limit && figure.highestMedian >= limit) doubt = "too close for its noise";
  if (figure.count < kFewestSamples) doubt = "too few samples";
  return text + " " + verdict(figure.median < limit, doubt, "< " + limitText);
}

std::string Report::countCell(uint64_t count, uint64_t limit) {
  return std::to_string(count) + " " + verdict(count <= limit, "", "≤ " + std::to_string(limit));
}

void Report::addFault(const std::string& sentence) {
  if (std::find(faults_.begin(), faults_.end(), sentence) == faults_.end()) faults_.push_back(sentence);
}

void Report::print(std::ostream& out) const {
  out << "| Measure | Projection | Frame | Kit | Same work, bare | Kit / bare | Flat quad, bare | Kit / flat quad "
         "| OpenGL ES | Metal / OpenGL ES |\n"
         "|---|---|---|--:|--:|---|--:|---|--:|---|\n";
  std::vector<Row> rows = rows_;
  // Cells are measured one after the other, all measures of each; the table reads better by measure.
  std::vector<std::string> order;
  for (const Row& row : rows) {
    if (std::find(order.begin(), order.end(), row.measure) == order.end()) order.push_back(row.measure);
  }
  const auto rank = [&order](const Row& row) { return std::find(order.begin(), order.end(), row.measure); };
  std::stable_sort(rows.begin(), rows.end(), [&](const Row& a, const Row& b) { return rank(a) < rank(b); });
  for (const Row& row : rows) {
    for (const std::string* cell :
         {&row.measure, &row.projection, &row.frame, &row.kit, &row.sameWork, &row.sameWorkRatio, &row.flatQuad,
          &row.flatQuadRatio, &row.openGL, &row.openGLRatio}) {
      out << "| " << (cell->empty() ? "-" : *cell) << ' ';
    }
    out << "|\n";
  }
  out << "\nTargets: " << passes_ << " reached, " << misses_ << " missed, " << notJudged_ << " not judged.\n";
  for (const std::string& fault : faults_) out << "\n**Invalid:** " << fault << '\n';
}

void printCircumstances(std::ostream& out, size_t samples) {
  utsname machine{};
  uname(&machine);
  const char* threads = std::getenv("LP_NUM_THREADS");
  const double gigabytes =
      static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e9;
  out << "- Machine: " << machine.machine << ", " << std::thread::hardware_concurrency() << " cores, "
      << fixed(gigabytes, 0) << " GB of memory, " << machine.sysname << "; load average at the start " << loadAverage()
      << "\n- Renderer: " << EAGLContext::rendererDescription() << "\n- Explicit GPU: " << explicitGpu()
      << "\n- LP_NUM_THREADS: " << (threads != nullptr ? threads : "not set (one thread per core)")
      << "\n- Compiler: " << compilerName() << ", build type " ZEL_BENCH_BUILD_TYPE
      << "\n- Samples per figure: " << samples << ", after warming up\n\n";
}

}  // namespace ZELBench
