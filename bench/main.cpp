#include "bench/ControllerMeasure.h"
#include "bench/FirstPicture.h"
#include "bench/FrameMeasure.h"
#include "bench/MetalMeasure.h"
#include "bench/Report.h"
#include "bench/Settings.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

namespace {

/// The viewer of the same build, if it was built.
std::string findViewer() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path viewer = self.parent_path() / "../apps/zelview/zelview";
  return std::filesystem::exists(viewer, error) ? viewer.string() : std::string();
}

}  // namespace

int main(int argc, char** argv) {
  ZELBench::Settings settings;
  bool quick = false;
  long long firstPictureSince = -1;
  long long firstMetalPictureSince = -1;
  settings.viewer = findViewer();

  CLI::App app("Measures ZELKit against bare code that does the same work, and prints one Markdown table.");
  app.add_option("--samples", settings.samples, "Samples per figure")
      ->check(CLI::Range(2, 1000))
      ->capture_default_str();
  app.add_flag("--quick", quick, "Five samples per figure: a look, not a judgement");
  app.add_option("--filter", settings.filter,
                 "Only what contains this: \"equirectangular 420v\", \"BGRA\", \"first picture\", \"viewer snapshot\", "
                 "\"controller update\"");
  app.add_option("--viewer", settings.viewer, "The zelview program (default: the one of the same build)");
  app.add_option("--first-picture", firstPictureSince)->group("");
  app.add_option("--first-metal-picture", firstMetalPictureSince)->group("");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  if (firstPictureSince >= 0) return ZELBench::runFirstPicture(firstPictureSince, false);
  if (firstMetalPictureSince >= 0) return ZELBench::runFirstPicture(firstMetalPictureSince, true);
  if (quick) settings.samples = 5;

  ZELBench::Report report;
  ZELBench::measureFirstPictures(settings, report);
  const std::string error = ZELBench::measureFrames(settings, report);
  if (!error.empty()) {
    std::cerr << error << '\n';
    return 1;
  }
  ZELBench::measureControllers(settings, report);
#ifdef ZEL_WITH_VULKAN
  if (const std::string reason = ZELBench::measureMetal(settings, report); !reason.empty()) {
    std::cerr << "Metal is not measured: " << reason << '\n';
  }
#endif
  if (report.isEmpty()) {
    std::cerr << "Nothing is measured under a name that contains \"" << settings.filter << "\".\n";
    return 2;
  }
  ZELBench::printCircumstances(std::cout, settings.samples);
  report.print(std::cout);
  return report.hasFaults() ? 1 : 0;
}
