#pragma once

#include <ZELPlatform/CMMotionManager.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ZELPlatform {

/// Recordings as text: one sample a line, `SECONDS X Y Z W`; times do not fall, `#` begins a comment.

/// Whether a recording may hold the sample: its numbers are finite and its rotation is not zero.
bool isUsable(const CMDeviceMotion& motion);

/// Adds the line of a sample, each number in the shortest form that reads back as the same double.
void appendSample(std::string* text, const CMDeviceMotion& sample);

/// Reads samples from text that comes in pieces, cut anywhere.
class RecordingReader {
 public:
  /// False when a line is bad: no more is read then.
  bool feed(std::string_view piece);

  /// Reads the last line, which may lack its end.
  void finish();

  /// ":LINE: why." of the first bad line; empty without one.
  const std::string& complaint() const { return complaint_; }
  std::vector<CMDeviceMotion>& samples() { return samples_; }

 private:
  bool takeLine(std::string_view line);
  std::string readLine(std::string_view line);
  std::string add(const CMDeviceMotion& sample);

  std::vector<CMDeviceMotion> samples_;
  size_t lineNumber_ = 0;
  /// What follows the last end of a line.
  std::string rest_;
  std::string complaint_;
};

}  // namespace ZELPlatform
