#include "bench/FirstPicture.h"

#include "bench/TestFrames.h"

#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/CoreMedia.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/MTLDevice.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIWindow.h>
#include <fcntl.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace ZELBench {

namespace {

constexpr CGSize kWindowSize = {1280, 720};
constexpr double kSnapshotLimit = 1500.0;  // milliseconds
constexpr double kMemoryLimit = 400.0;     // megabytes
constexpr double kPatience = 30.0;         // seconds

long long monotonicNanoseconds() { return std::chrono::steady_clock::now().time_since_epoch().count(); }

/// What became of a child process.
struct Finished {
  double milliseconds = 0.0;
  double peakMegabytes = 0.0;
  std::string output;
};

/// Runs a program to its end and returns what it wrote; nothing if it failed.
std::optional<Finished> runProgram(std::vector<std::string> arguments) {
  std::array<int, 2> pipe{};
  if (pipe2(pipe.data(), O_CLOEXEC) != 0) return std::nullopt;
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
  pid_t child = 0;
  const Stopwatch stopwatch;
  const int failure = posix_spawn(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipe[1]);

  Finished finished;
  std::array<char, 512> bytes{};
  for (ssize_t count = 0; failure == 0 && (count = read(pipe[0], bytes.data(), bytes.size())) > 0;) {
    finished.output.append(bytes.data(), static_cast<size_t>(count));
  }
  close(pipe[0]);
  int status = 0;
  rusage usage{};
  if (failure != 0 || wait4(child, &status, 0, &usage) != child || status != 0) return std::nullopt;
  finished.milliseconds = stopwatch.milliseconds();
  finished.peakMegabytes = static_cast<double>(usage.ru_maxrss) * 1024.0 / 1e6;
  return finished;
}

Row firstPictureRow(const std::string& measure, const std::string& frame, std::string kit) {
  Row row;
  row.measure = measure;
  row.projection = "equirectangular";
  row.frame = frame;
  row.kit = std::move(kit);
  return row;
}

/// Fresh processes of this program, so that nothing is warm but what the system keeps.
void measureFreshViews(const Settings& settings, bool metal, const std::string& cacheNote, Report& report) {
  const std::string note = (metal ? "Metal, " : "OpenGL ES, ") + cacheNote;
  std::cerr << "measuring the first picture, " << note << '\n';
  std::vector<double> fromView;
  std::vector<double> fromStart;
  for (size_t round = 0; round < settings.samples + 1; ++round) {
    const auto child = runProgram({"/proc/self/exe", metal ? "--first-metal-picture" : "--first-picture",
                                   std::to_string(monotonicNanoseconds())});
    double view = 0.0;
    double start = 0.0;
    if (!child || std::sscanf(child->output.c_str(), "%lf %lf", &view, &start) != 2) {
      report.addFault("first picture: a fresh process did not show one.");
      return;
    }
    // The first one fills the shader cache and the system's file cache.
    if (round == 0) continue;
    fromView.push_back(view);
    fromStart.push_back(start);
  }
  const std::string frame = "BGRA, 1280×720 view";
  report.add(
      firstPictureRow("view creation to readyForDisplay, " + note, frame, Report::timeCell(distributionOf(fromView))));
  report.add(
      firstPictureRow("process start to readyForDisplay, " + note, frame, Report::timeCell(distributionOf(fromStart))));
}

void measureBackEnds(const Settings& settings, const std::string& cacheNote, Report& report) {
  measureFreshViews(settings, false, cacheNote, report);
  if (MTLUnavailableReason().empty()) measureFreshViews(settings, true, cacheNote, report);
}

/// A JPEG with enough grain to cost what a photograph costs.
bool writeJpeg(const std::string& path, int width, int height) {
  GdkPixbuf* pixels = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, height);
  if (pixels == nullptr) return false;
  guchar* bytes = gdk_pixbuf_get_pixels(pixels);
  const int bytesPerRow = gdk_pixbuf_get_rowstride(pixels);
  uint32_t noise = 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width * 3; ++x) {
      noise = noise * 1664525U + 1013904223U;  // Numerical Recipes' linear congruential generator
      bytes[y * bytesPerRow + x] = static_cast<guchar>((x / 60 + y / 12) % 200 + static_cast<int>(noise >> 28));
    }
  }
  const bool written = gdk_pixbuf_save(pixels, path.c_str(), "jpeg", nullptr, "quality", "90", nullptr) != FALSE;
  g_object_unref(pixels);
  return written;
}

void measureSnapshots(const Settings& settings, Report& report) {
  std::cerr << "measuring the viewer's snapshot\n";
  std::string folder = (std::filesystem::temp_directory_path() / "zel_bench.XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return report.addFault("viewer snapshot: no temporary folder can be made.");
  const std::string picture = folder + "/picture.jpg";
  const std::string snapshot = folder + "/snapshot.png";
  std::vector<double> times;
  std::vector<double> memory;
  bool works = writeJpeg(picture, 4096, 2048);
  for (size_t round = 0; works && round < settings.samples + 1; ++round) {
    std::filesystem::remove(snapshot);
    const auto child =
        runProgram({settings.viewer, "--snapshot", snapshot, "--projection", "equirectangular", picture});
    works = child && std::filesystem::exists(snapshot);
    if (!works || round == 0) continue;
    times.push_back(child->milliseconds);
    memory.push_back(child->peakMegabytes);
  }
  std::filesystem::remove_all(folder);
  if (!works) return report.addFault("viewer snapshot: the viewer did not write one.");

  const std::string frame = "JPEG 4096×2048";
  const Distribution time = distributionOf(times);
  report.add(firstPictureRow("viewer, start to written snapshot", frame,
                             report.limitCell(Report::timeCell(time), time, kSnapshotLimit, "1.5 s")));
  const Distribution peak = distributionOf(memory);
  const std::string megabytes = std::to_string(static_cast<int>(peak.median)) + " MB";
  report.add(firstPictureRow("viewer, peak resident memory", frame,
                             report.limitCell(megabytes, peak, kMemoryLimit, "400 MB")));
}

}  // namespace

void measureFirstPictures(const Settings& settings, Report& report) {
  // Before this process opens a GPU itself.
  if (settings.wants("viewer snapshot") && !settings.viewer.empty()) measureSnapshots(settings, report);
  if (settings.wants("first picture")) {
    measureBackEnds(settings, "warm shader cache", report);
    // The driver reads the variable in each child anew.
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
    measureBackEnds(settings, "no shader cache", report);
    unsetenv("MESA_SHADER_CACHE_DISABLE");
  }
}

int runFirstPicture(long long startedAt, bool metal) {
  ZELRenderView::setMetalAllowed(metal);
  UIApplicationOptions options;
  options.displayDriver = "offscreen";
  options.offscreenSize = kWindowSize;
  const std::string error = UIApplication::start(options);
  if (!error.empty()) {
    std::cerr << error << '\n';
    return 1;
  }
  // The frame stands for what the host has ready: making it is not counted.
  const Stopwatch making;
  const CVPixelBufferRef frame = makeTestFrame(kCVPixelFormatType_32BGRA, static_cast<size_t>(kContentSize.width),
                                               static_cast<size_t>(kContentSize.height), 1);
  const double notCounted = making.milliseconds();

  const CGRect bounds = CGRectMake(0, 0, kWindowSize.width, kWindowSize.height);
  const auto window = UIWindow::create(bounds);
  const auto source = ZELDirectPixelBufferSource::create();
  const Stopwatch fromView;
  const auto view = ZELRenderView::create(bounds);
  if (!window || !view || view->usesMetal() != metal) return 1;
  view->setContentProjection(ZELProjection::equirectangular());
  view->setContentSource(source);
  source->updateWithPixelBuffer(frame, CMTimeMake(0, 1));
  window->addSubview(view);
  window->makeKeyWindow();
  if (!NSRunLoop::mainRunLoop().runUntil([&view] { return view->readyForDisplay(); }, kPatience)) return 1;
  const double fromStart = static_cast<double>(monotonicNanoseconds() - startedAt) / 1e6 - notCounted;
  std::cout << fromView.milliseconds() << ' ' << fromStart << '\n';
  return 0;
}

}  // namespace ZELBench
