#include "platform/coregraphics/FilePieces.h"
#include "platform/coremotion/Attitude.h"

#include <ZELPlatform/CMMotionManager.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace ZELPlatform {
namespace {

constexpr size_t kNumbersPerLine = 5;

/// Host time counts whole nanoseconds: half of one is what differences of its doubles may be off.
constexpr double kHalfNanosecond = 0.5e-9;

constexpr std::string_view kBlanks = " \t\r\v\f";

bool isUsable(const CMDeviceMotion& motion) {
  return std::isfinite(motion.timestamp) && normalized(motion.attitude).has_value();
}

/// Takes the next word off the line; empty at its end.
std::string_view takeWord(std::string_view* line) {
  line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
  const std::string_view word = line->substr(0, line->find_first_of(kBlanks));
  line->remove_prefix(word.size());
  return word;
}

std::string quoted(std::string_view word) { return "\"" + std::string(word.substr(0, 40)) + "\""; }

/// Reads samples line by line.
class SampleReader {
 public:
  std::vector<CMDeviceMotion>& samples() { return samples_; }

  /// Returns an empty string, or why the line is bad.
  std::string readLine(std::string_view line) {
    line = line.substr(0, line.find('#'));
    std::array<double, kNumbersPerLine> numbers{};
    size_t count = 0;
    for (std::string_view word = takeWord(&line); !word.empty(); word = takeWord(&line)) {
      if (count == numbers.size()) return "there is more than SECONDS X Y Z W";
      double& number = numbers[count++];
      const auto [end, failure] = std::from_chars(word.data(), word.data() + word.size(), number);
      if (failure != std::errc() || end != word.data() + word.size() || !std::isfinite(number)) {
        return quoted(word) + " is not a finite number";
      }
    }
    if (count == 0) return {};
    if (count < numbers.size()) return "there is less than SECONDS X Y Z W";
    return add({{numbers[1], numbers[2], numbers[3], numbers[4]}, numbers[0]});
  }

 private:
  std::string add(const CMDeviceMotion& sample) {
    if (!isUsable(sample)) return "the rotation is zero";
    if (!samples_.empty() && sample.timestamp < samples_.back().timestamp) {
      return "the time is before that of the sample above";
    }
    samples_.push_back(sample);
    return {};
  }

  std::vector<CMDeviceMotion> samples_;
};

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

  /// In the shortest form that reads back as the same double.
  void write(const CMDeviceMotion& sample) {
    constexpr size_t kBlock = 65536;
    written_ = sample;
    const CMQuaternion& q = sample.attitude;
    for (const double number : {sample.timestamp, q.x, q.y, q.z, q.w}) {
      std::array<char, 32> digits{};
      const auto [end, failure] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
      pending_.append(digits.data(), end);
      pending_ += ' ';
    }
    pending_.back() = '\n';
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

/// Cuts what is read into lines; returns the first bad one's sentence, or why the file cannot be read.
std::string readSamples(const std::string& path, SampleReader* reader) {
  constexpr size_t kLongestLine = 4096;
  std::string rest;
  std::string bad;
  size_t lineNumber = 0;
  const auto takeLine = [&](std::string_view line) {
    ++lineNumber;
    const std::string why = line.size() > kLongestLine ? "the line is too long" : reader->readLine(line);
    if (!why.empty()) bad = path + ":" + std::to_string(lineNumber) + ": " + why + ".";
    return bad.empty();
  };
  const std::string reason = readPieces(path, [&](const uint8_t* bytes, size_t count) {
    rest.append(reinterpret_cast<const char*>(bytes), count);
    size_t start = 0;
    for (size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n', start)) {
      if (!takeLine(std::string_view(rest).substr(start, end - start))) return false;
      start = end + 1;
    }
    rest.erase(0, start);
    return rest.size() <= kLongestLine || takeLine(rest);
  });
  if (!reason.empty()) return "The recording \"" + path + "\" cannot be read: " + reason + ".";
  if (bad.empty() && !rest.empty()) takeLine(rest);
  return bad;
}

}  // namespace
}  // namespace ZELPlatform

std::shared_ptr<CMMotionSource> CMMotionSource::replay(const std::string& path, std::string* error) {
  ZELPlatform::SampleReader reader;
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
