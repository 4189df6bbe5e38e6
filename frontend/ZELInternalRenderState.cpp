#include <ZELKit/internal/ZELInternalRenderState.h>

#include <array>
#include <bit>
#include <cstdint>

namespace {

/// Bits, not values: 0 and -0 differ, equal NaNs do not.
bool sameBits(const GLKMatrix4& a, const GLKMatrix4& b) {
  using Bits = std::array<uint32_t, 16>;
  return std::bit_cast<Bits>(a) == std::bit_cast<Bits>(b);
}

}  // namespace

bool ZELInternalRenderState::differsFromRenderState(const ZELInternalRenderState& other) const {
  if (!sameBits(viewMatrix, other.viewMatrix)) return true;
  if (nearPlane != other.nearPlane) return true;
  if (projection != other.projection) return true;
  if (!CGSizeEqualToSize(size, other.size)) return true;
  if (nativeScale != other.nativeScale) return true;
  if (srContentType != other.srContentType || srEncoderType != other.srEncoderType) return true;
  return srEnabled != other.srEnabled;
}

std::shared_ptr<const ZELInternalRenderState> ZELInternalRenderState::withoutCallback() const {
  auto copy = std::make_shared<ZELInternalRenderState>(*this);
  copy->frameDisplayed = nullptr;
  return copy;
}
