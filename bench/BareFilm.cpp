#include "bench/BareFilm.h"

#include "bench/Statistics.h"
#include "drivers/gstreamer/FrameImporter.h"
#include "drivers/gstreamer/GstPointer.h"

#include <ZELKit/ZELProjection.h>
#include <ZELPlatform/EAGL.h>
#include <gst/app/gstappsink.h>
#include <sys/resource.h>

#include <functional>
#include <memory>
#include <numbers>

namespace ZELBench {
namespace {

using ZELPlatform::FrameImporter;
using ZELPlatform::GstMiniPointer;
using ZELPlatform::GstPointer;

constexpr double kTurnPerSecond = 30.0;
constexpr GstClockTime kPatience = 20 * GST_SECOND;

/// A pipeline that ends in the element `end`, stopped when it goes.
class Pipeline {
 public:
  Pipeline(const std::string& path, const std::string& end) {
    gst_init(nullptr, nullptr);
    const std::string text = "filesrc name=in ! decodebin ! " + end;
    pipeline_.reset(gst_parse_launch(text.c_str(), nullptr));
    if (!pipeline_) return;
    g_object_set(named("in").get(), "location", path.c_str(), nullptr);
  }
  ~Pipeline() {
    if (pipeline_) gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
  }
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  explicit operator bool() const { return pipeline_ != nullptr; }
  GstPointer<GstElement> named(const char* name) const {
    return GstPointer<GstElement>(gst_bin_get_by_name(GST_BIN(pipeline_.get()), name));
  }
  void play() { gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING); }

 private:
  GstPointer<GstElement> pipeline_;
};

/// Lets the decoder hand out frames in rows of any length, as the kit's own sink does.
GstPadProbeReturn answerAllocation(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer /*data*/) {
  GstQuery* query = gst_pad_probe_info_get_query(info);
  if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
  return GST_PAD_PROBE_HANDLED;
}

/// Pulls all frames; the time begins with the first.
FilmTimes pullAll(const std::string& path, const std::function<void(GstSample*)>& use) {
  FilmTimes times;
  Pipeline pipeline(path, "appsink name=frames sync=false max-buffers=3");
  if (!pipeline) return times;
  const GstPointer<GstElement> sink = pipeline.named("frames");
  const GstPointer<GstPad> pad(gst_element_get_static_pad(sink.get(), "sink"));
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, answerAllocation, nullptr, nullptr);
  pipeline.play();
  const Stopwatch watch;
  const double before = processorSeconds();
  double first = 0.0;
  for (;;) {
    const GstMiniPointer<GstSample> sample(gst_app_sink_try_pull_sample(GST_APP_SINK(sink.get()), kPatience));
    if (!sample) break;
    if (times.frames == 0) first = watch.milliseconds();
    use(sample.get());
    ++times.frames;
  }
  times.seconds = (watch.milliseconds() - first) / 1000.0;
  times.processorSeconds = processorSeconds() - before;
  return times;
}

}  // namespace

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

GLKMatrix4 turningCamera(double seconds) {
  const auto angle = static_cast<float>(seconds * kTurnPerSecond * std::numbers::pi / 180.0);
  return GLKMatrix4MakeWithQuaternion(GLKQuaternionMakeWithAngleAndAxis(angle, 0.0F, 1.0F, 0.0F));
}

FilmTimes decodeBare(const std::string& path) {
  return pullAll(path, [](GstSample*) {});
}

FilmTimes playBare(const std::string& path, CGSize content, CGSize target) {
  const std::shared_ptr<EAGLContext> context = EAGLContext::create(kEAGLRenderingAPIOpenGLES2);
  if (!context || !EAGLContext::setCurrentContext(context)) return {};
  FilmTimes times;
  {
    const BareRenderer renderer(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, content, target);
    const BareProgram program(renderer.textureFormat(), ZELProjectionTypeEquirectangular, CGRectMake(0, 0, 1, 1),
                              target);
    const BareRenderer::Bound bound(renderer);
    FrameImporter importer;
    uint64_t number = 0;
    if (!renderer.isComplete() || !program.isValid()) return {};
    times = pullAll(path, [&](GstSample* sample) {
      GstVideoInfo info;
      gst_video_info_from_caps(&info, gst_sample_get_caps(sample));
      const CVPixelBufferRef frame = importer.import(gst_sample_get_buffer(sample), info);
      const double aspect = target.width / target.height;
      const double scale =
          ZELProjection::equirectangular()->zoomScaleForAspectRatio(aspect, target.width > target.height);
      const Camera camera{turningCamera(static_cast<double>(number++) / 30.0), scale};
      if (frame) renderer.drawFrame(frame.get(), program, camera);
    });
  }
  EAGLContext::setCurrentContext(nullptr);
  return times;
}

}  // namespace ZELBench
