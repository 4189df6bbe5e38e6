#include <ZELKit/internal/ZELInternalRenderState.h>

#include <cstring>

bool ZELInternalRenderState::differsFromRenderState(const ZELInternalRenderState& other) const {
  // Bytes, not floats: 0 and -0 differ, equal NaNs do not.
  if (std::memcmp(&viewMatrix, &other.viewMatrix, sizeof viewMatrix) != 0) return true;
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
