#include <ZELKit/ZELKit.h>

#include <cstdio>

// Needs no GPU: it stands for what any host links.
int main() {
  const auto source = ZELDirectPixelBufferSource::create();
  source->updateWithPixelBuffer(CVPixelBuffer::create(64, 32, kCVPixelFormatType_32BGRA), CMTime{});
  const auto projection = ZELProjection::equirectangular();
  std::printf("%s\n", ZELProjectionTypeName(projection->type()));
  return source->copyPixelBufferForTime(CACurrentMediaTime() + 1.0) ? 0 : 1;
}
