#include "bench/FrameMeasure.h"

#include "bench/BareRenderer.h"
#include "bench/KitStage.h"
#include "bench/TestFrames.h"
#include "platform/corevideo/Counters.h"

#include <ZELKit/ZELProjection.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

namespace ZELBench {

namespace {

constexpr double kWholeFrameLimit = 1.15;
constexpr double kMovingCameraLimit = 1.10;
constexpr double kEquirectangularLimit = 1.5;
constexpr int kMostAttempts = 5;
constexpr double kMainThreadLimit = 0.1;  // milliseconds

/// More frames than sides, so that each side meets every frame.
constexpr size_t kRingSize = 4;

/// Refreshes without change take microseconds: more of them cost nothing.
constexpr size_t kUnchangedFactor = 10;

/// Channels of the two sides' pictures may differ by rounding only.
constexpr int kPictureTolerance = 1;

/// One projection and format: the kit and the two floors, taken in turns.
class Cell {
 public:
  Cell(std::string projectionName, std::string formatName, std::shared_ptr<ZELProjection> projection, KitStage& stage,
       FrameRing& frames, const Settings& settings, Report& report)
      : projectionName_(std::move(projectionName)),
        formatName_(std::move(formatName)),
        projection_(std::move(projection)),
        stage_(stage),
        frames_(frames),
        settings_(settings),
        report_(report) {}

  void measure() {
    std::cerr << "measuring " << projectionName_ << ' ' << formatName_ << '\n';
    stage_.setProjection(projection_);
    stage_.withContext([this] { makeFloors(); });
    if (!bare_->isComplete() || !sameWork_->isValid() || !flatQuad_->isValid()) {
      fault("the bare side cannot be made");
    } else {
      reportComparison("whole frame, new content", compare(true), kWholeFrameLimit, 0.0);
      const bool judged =
          projection_->type() == ZELProjectionTypeEquirectangular && frames_.pixelFormat() != kCVPixelFormatType_32BGRA;
      reportComparison("moving camera", compare(false), kMovingCameraLimit, judged ? kEquirectangularLimit : 0.0);
      checkPictures();
      measureUnchanged();
      reportMainThread();
    }
    stage_.withContext([this] { dropFloors(); });
  }

 private:
  struct Comparison {
    Distribution kit;
    Distribution sameWork;
    Distribution flatQuad;

    double spread() const { return std::max({kit.spread(), sameWork.spread(), flatQuad.spread()}); }
  };

  void makeFloors() {
    bare_ = std::make_unique<BareRenderer>(frames_.pixelFormat(), kContentSize, kTargetSize);
    const ZELTextureFormat format = bare_->textureFormat();
    const CGRect rect = projection_->displayRectForContentSize(kContentSize, kTargetSize);
    sameWork_ = std::make_unique<BareProgram>(format, projection_->type(), rect, kTargetSize);
    flatQuad_ = std::make_unique<BareProgram>(format, ZELProjectionTypeFlat, CGRectMake(0, 0, 1, 1), kTargetSize);
  }

  void dropFloors() {
    sameWork_.reset();
    flatQuad_.reset();
    bare_.reset();
  }

  /// The calmest of a few attempts. What decides is the spread alone, never the ratio.
  Comparison compare(bool newContent) {
    Comparison calmest = takeTurns(newContent);
    if (settings_.samples < kFewestSamples) return calmest;
    for (int attempt = 1; attempt < kMostAttempts && calmest.spread() > kWidestSpread; ++attempt) {
      const Comparison again = takeTurns(newContent);
      if (again.spread() < calmest.spread()) calmest = again;
    }
    return calmest;
  }

  /// Kit, same work, flat quad, kit, ...; each with a frame of its own if there is to be new content, all three of a
  /// round with the same camera.
  Comparison takeTurns(bool newContent) {
    std::vector<double> kit;
    std::vector<double> sameWork;
    std::vector<double> flatQuad;
    for (size_t round = 0; round < settings_.warmUps + settings_.samples; ++round) {
      const std::array<double, 3> times = {drawWithKit(newContent), drawBare(*sameWork_, newContent),
                                           drawBare(*flatQuad_, newContent)};
      if (round < settings_.warmUps) continue;
      kit.push_back(times[0]);
      sameWork.push_back(times[1]);
      flatQuad.push_back(times[2]);
    }
    return {distributionOf(kit), distributionOf(sameWork), distributionOf(flatQuad)};
  }

  /// One frame of the kit. A frame that was dropped, shown twice or uploaded in part would be no fair sample.
  double drawWithKit(bool newContent) {
    const uint64_t bytesBefore = ZELPlatform::pixelCounters().uploadedBytes;
    const uint64_t presentsBefore = stage_.presentCount();
    stage_.moveCamera(++step_);
    const KitTimes times = stage_.drawFrame(newContent ? frames_.next() : nullptr);
    mainThread_.push_back(times.mainThread);
    if (stage_.presentCount() != presentsBefore + 1) fault("a frame of the kit was not presented once");
    const uint64_t bytes = ZELPlatform::pixelCounters().uploadedBytes - bytesBefore;
    if (bytes != (newContent ? bare_->bytesPerFrame() : 0)) fault("the kit uploads other bytes than the bare side");
    return times.whole;
  }

  double drawBare(const BareProgram& program, bool newContent) {
    const CVPixelBufferRef frame = newContent ? frames_.next() : nullptr;
    double milliseconds = 0.0;
    stage_.withContext([&] {
      const BareRenderer::Bound bound(*bare_);
      milliseconds = bare_->drawFrame(frame.get(), program, stage_.camera());
    });
    return milliseconds;
  }

  /// The two sides did the same work only if they drew the same picture.
  void checkPictures() {
    const CVPixelBufferRef frame = frames_.next();
    stage_.moveCamera(++step_);
    stage_.drawFrame(frame);
    const std::vector<uint8_t> kit = stage_.readBack();
    std::vector<uint8_t> bare;
    stage_.withContext([&] {
      const BareRenderer::Bound bound(*bare_);
      bare_->drawFrame(frame.get(), *sameWork_, stage_.camera());
      bare = bare_->readBack();
    });
    int difference = kit.size() == bare.size() ? 0 : 255;
    for (size_t byte = 0; byte < std::min(kit.size(), bare.size()); ++byte) {
      difference = std::max(difference, std::abs(kit[byte] - bare[byte]));
    }
    if (difference > kPictureTolerance) {
      fault("the kit's picture differs from the bare side's by " + std::to_string(difference) + " of 255");
    }
  }

  void measureUnchanged() {
    const uint64_t uploadsBefore = ZELPlatform::pixelCounters().uploads;
    const uint64_t presentsBefore = stage_.presentCount();
    std::vector<double> samples;
    for (size_t round = 0; round < kUnchangedFactor * settings_.samples; ++round) {
      samples.push_back(stage_.refreshUnchanged());
    }
    if (stage_.presentCount() != presentsBefore) fault("an unchanged frame was presented");
    if (ZELPlatform::pixelCounters().uploads != uploadsBefore) fault("an unchanged frame was uploaded");
    Row row = newRow("unchanged frame, whole refresh");
    row.kit = Report::timeCell(distributionOf(samples));
    report_.add(row);
  }

  void reportMainThread() {
    const Distribution times = distributionOf(mainThread_);
    Row row = newRow("main thread per displayAtSyncTime");
    row.kit = report_.limitCell(Report::timeCell(times), times, kMainThreadLimit, "0.1 ms");
    report_.add(row);
  }

  void reportComparison(const std::string& measure, const Comparison& comparison, double limit, double flatLimit) {
    Row row = newRow(measure);
    row.kit = Report::timeCell(comparison.kit);
    row.sameWork = Report::timeCell(comparison.sameWork);
    row.sameWorkRatio = report_.ratioCell(comparison.kit, comparison.sameWork, limit);
    row.flatQuad = Report::timeCell(comparison.flatQuad);
    row.flatQuadRatio = report_.ratioCell(comparison.kit, comparison.flatQuad, flatLimit);
    report_.add(row);
  }

  Row newRow(const std::string& measure) const {
    Row row;
    row.measure = measure;
    row.projection = projectionName_;
    row.frame = formatName_;
    return row;
  }

  void fault(const std::string& sentence) {
    report_.addFault(projectionName_ + " " + formatName_ + ": " + sentence + ".");
  }

  std::string projectionName_;
  std::string formatName_;
  std::shared_ptr<ZELProjection> projection_;
  KitStage& stage_;
  FrameRing& frames_;
  const Settings& settings_;
  Report& report_;
  std::unique_ptr<BareRenderer> bare_;
  std::unique_ptr<BareProgram> sameWork_;
  std::unique_ptr<BareProgram> flatQuad_;
  std::vector<double> mainThread_;
  size_t step_ = 0;
};

/// Flat content fills the view, so that every projection colours every pixel of the drawable.
std::vector<std::shared_ptr<ZELProjection>> allProjections() {
  return {ZELProjection::flatWithContentGravity(ZELContentGravityFill), ZELProjection::equirectangular(),
          ZELProjection::cubemapWithPadding(0), ZELProjection::segmentedSphere()};
}

}  // namespace

std::string measureFrames(const Settings& settings, Report& report) {
  static const std::vector<std::pair<std::string, uint32_t>> kFormats = {
      {"BGRA", kCVPixelFormatType_32BGRA}, {"420v", kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange}};
  std::unique_ptr<KitStage> stage;
  for (const auto& [formatName, format] : kFormats) {
    std::unique_ptr<FrameRing> frames;
    for (const auto& projection : allProjections()) {
      const std::string projectionName = ZELProjectionTypeName(projection->type());
      if (!settings.wants(std::string(projectionName).append(" ").append(formatName))) continue;
      if (!stage) {
        std::string error;
        stage = KitStage::create(kTargetSize, false, &error);
        if (!stage) return error;
      }
      if (!frames) {
        frames = std::make_unique<FrameRing>(format, static_cast<size_t>(kContentSize.width),
                                             static_cast<size_t>(kContentSize.height), kRingSize);
      }
      Cell(projectionName, formatName, projection, *stage, *frames, settings, report).measure();
    }
  }
  return {};
}

}  // namespace ZELBench
