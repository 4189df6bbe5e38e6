// Whether a picture's file is whole.

#include "platform/coregraphics/PictureEnd.h"
#include "tests/fuzz/Promises.h"

namespace {

bool isWhole(std::string_view bytes, size_t piece) {
  ZELPlatform::PictureEnd end;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
    end.feed(reinterpret_cast<const uint8_t*>(bytes.data()), std::min(piece, bytes.size()));
  }
  return end.isReachedOrUnknown();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(zelfuzz::textOf(data, size));
  const bool whole = isWhole(bytes, std::max<size_t>(size, 1));
  for (const size_t piece : {1, 3, 64}) {
    zelfuzz::require(isWhole(bytes, piece) == whole, "how the file is cut into pieces makes no difference");
  }
  // From twelve bytes on the kind of the file is known.
  constexpr size_t kSignature = 12;
  zelfuzz::require(!whole || size < kSignature || isWhole(bytes + std::string(70, '\xd8'), size),
                   "what follows a picture's end makes no difference");
  return 0;
}
