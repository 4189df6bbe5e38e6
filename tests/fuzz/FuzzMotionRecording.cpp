// Recordings of motion: a replay of what was read is the same bit for bit.

#include "platform/coremotion/RecordingText.h"
#include "tests/fuzz/Promises.h"

#include <cstring>

namespace {

using zelfuzz::require;
using ZELPlatform::RecordingReader;

/// Reads the text in pieces of that length.
RecordingReader readIn(std::string_view text, size_t piece) {
  RecordingReader reader;
  for (; !text.empty(); text.remove_prefix(std::min(piece, text.size()))) {
    if (!reader.feed(text.substr(0, piece))) break;
  }
  reader.finish();
  return reader;
}

bool areSame(RecordingReader& a, RecordingReader& b) {
  const size_t count = a.samples().size();
  const bool same = b.samples().size() == count && a.complaint() == b.complaint();
  return same &&
         (count == 0 || std::memcmp(a.samples().data(), b.samples().data(), count * sizeof(CMDeviceMotion)) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text = zelfuzz::textOf(data, size);
  RecordingReader whole = readIn(text, std::max<size_t>(size, 1));
  for (const size_t piece : {1, 7}) {
    RecordingReader pieces = readIn(text, piece);
    require(areSame(whole, pieces), "how the file is cut into pieces makes no difference");
  }
  if (!whole.complaint().empty()) zelfuzz::requireSentence(whole.complaint());

  std::string written = "# seconds x y z w\n";
  const CMDeviceMotion* before = nullptr;
  for (const CMDeviceMotion& sample : whole.samples()) {
    require(ZELPlatform::isUsable(sample), "a sample is a rotation at a time");
    require(before == nullptr || before->timestamp <= sample.timestamp, "times do not fall");
    before = &sample;
    ZELPlatform::appendSample(&written, sample);
  }
  RecordingReader again = readIn(written, written.size());
  require(again.complaint().empty() && again.samples().size() == whole.samples().size(), "what is written is read");
  std::string twice = "# seconds x y z w\n";
  for (const CMDeviceMotion& sample : again.samples()) ZELPlatform::appendSample(&twice, sample);
  require(twice == written, "what was read reads back as the same");
  return 0;
}
