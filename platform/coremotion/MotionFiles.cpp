#include "platform/coregraphics/FilePieces.h"
#include "platform/coremotion/RecordingText.h"

#include <ZELPlatform/CMMotionManager.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace ZELPlatform {
namespace {

/// Host time counts whole nanoseconds: half of one is what differences of its doubles may be off.
constexpr double kHalfNanosecond = 0.5e-9;

class ReplaySource final : public CMMotionSource {
 public:
  ReplaySource(std::string path, std::vector<CMDeviceMotion> samples)
      : path_(std::move(path)), samples_(std::move(samples)) {}

  std::string description() const override { return "the recording \"" + path_ + "\""; }
  void setActive(bool /*active*/) override {}

  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override {
    if (!start_) start_ = hostTime;
    const double elapsed = hostTime - *start_ + kHalfNanosecond;
    while (next_ + 1 < samples_.size() && samples_[next_ + 1].timestamp - samples_[0].timestamp <= elapsed) {
      ++next_;
    }
    return samples_[next_];
  }

 private:
  std::string path_;
  std::vector<CMDeviceMotion> samples_;
  std::optional<double> start_;
  size_t next_ = 0;
};

class RecordingSource final : public CMMotionSource {
 public:
  RecordingSource(std::shared_ptr<CMMotionSource> source, std::string path, std::unique_ptr<FileReplacement> file)
      : source_(std::move(source)), path_(std::move(path)), file_(std::move(file)) {}

  ~RecordingSource() override {
    if (failure_.empty()) failure_ = file_->write(pending_.data(), pending_.size());
    if (failure_.empty()) failure_ = file_->finish();
    if (!failure_.empty()) {
      // Nobody is left to be told.
      std::fprintf(stderr, "The recording \"%s\" cannot be written: %s.\n", path_.c_str(), failure_.c_str());
    }
  }

  std::string description() const override { return source_->description(); }
  void setActive(bool active) override { source_->setActive(active); }

  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override {
    const std::optional<CMDeviceMotion> sample = source_->sampleAtTime(hostTime);
    // A sample that several managers have asked for is written once, and nothing that a replay would refuse.
    if (sample && isUsable(*sample) && (!written_ || isNew(*sample))) {
      write(*sample);
    }
    return sample;
  }

  RecordingSource(const RecordingSource&) = delete;
  RecordingSource& operator=(const RecordingSource&) = delete;

 private:
  using Bits = std::array<uint64_t, 4>;

  bool isNew(const CMDeviceMotion& sample) const {
    return sample.timestamp > written_->timestamp ||
           (sample.timestamp == written_->timestamp &&
            std::bit_cast<Bits>(sample.attitude) != std::bit_cast<Bits>(written_->attitude));
  }

  void write(const CMDeviceMotion& sample) {
    constexpr size_t kBlock = 65536;
    written_ = sample;
    appendSample(&pending_, sample);
    if (pending_.size() >= kBlock) {
      if (failure_.empty()) failure_ = file_->write(pending_.data(), pending_.size());
      pending_.clear();
    }
  }

  std::shared_ptr<CMMotionSource> source_;
  std::string path_;
  std::unique_ptr<FileReplacement> file_;
  std::string pending_ = "# seconds x y z w\n";
  std::string failure_;
  std::optional<CMDeviceMotion> written_;
};

/// Returns the first bad line's sentence, or why the file cannot be read.
std::string readSamples(const std::string& path, RecordingReader* reader) {
  const std::string reason = readPieces(path, [reader](const uint8_t* bytes, size_t count) {
    return reader->feed({reinterpret_cast<const char*>(bytes), count});
  });
  if (!reason.empty()) return "The recording \"" + path + "\" cannot be read: " + reason + ".";
  reader->finish();
  return reader->complaint().empty() ? std::string() : path + reader->complaint();
}

}  // namespace
}  // namespace ZELPlatform

std::shared_ptr<CMMotionSource> CMMotionSource::replay(const std::string& path, std::string* error) {
  ZELPlatform::RecordingReader reader;
  std::string sentence = ZELPlatform::readSamples(path, &reader);
  if (sentence.empty() && reader.samples().empty()) {
    sentence = "The recording \"" + path + "\" holds no sample.";
  }
  if (!sentence.empty()) {
    if (error) *error = sentence;
    return nullptr;
  }
  return std::make_shared<ZELPlatform::ReplaySource>(path, std::move(reader.samples()));
}

std::shared_ptr<CMMotionSource> CMMotionSource::recording(std::shared_ptr<CMMotionSource> source,
                                                          const std::string& path, std::string* error) {
  if (!source) source = none();
  std::string reason;
  std::unique_ptr<ZELPlatform::FileReplacement> file = ZELPlatform::FileReplacement::create(path, &reason);
  if (!file) {
    if (error) *error = "The recording \"" + path + "\" cannot be written: " + reason + ".";
    return nullptr;
  }
  return std::make_shared<ZELPlatform::RecordingSource>(std::move(source), path, std::move(file));
}
