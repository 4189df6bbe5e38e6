#include "drivers/vulkan/Drawable.h"

#include "platform/corevideo/Counters.h"

#include <ZELPlatform/CoreGraphics.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

/// One is in front, two are being drawn, one is held by a snapshot or a compositor.
constexpr size_t kRingSize = 4;
/// So many frames wait for the GPU; a third would only add to the delay.
constexpr size_t kMostDrawn = 2;
constexpr std::chrono::seconds kLongestWait{1};

/// A drawable is out from its making to the end of the GPU's work on it: command buffers hold what they present.
class Drawable final : public CAMetalDrawable {
 public:
  /// Takes over one of the count.
  Drawable(std::shared_ptr<ShownImage> image, std::shared_ptr<LayerContents> contents,
           std::shared_ptr<Ring::Count> count)
      : image_(std::move(image)), contents_(std::move(contents)), count_(std::move(count)) {}

  ~Drawable() override {
    image_.reset();
    {
      const std::lock_guard lock(count_->mutex);
      --count_->out;
    }
    count_->fell.notify_one();
  }

  std::shared_ptr<MTLTexture> texture() const override { return image_->texture(); }

  void present() override {
    if (!presented_.exchange(true)) contents_->present(image_);
  }

 private:
  std::shared_ptr<ShownImage> image_;
  std::shared_ptr<LayerContents> contents_;
  std::shared_ptr<Ring::Count> count_;
  std::atomic<bool> presented_{false};
};

void exchangeRedAndBlue(std::vector<uint8_t>* bytes) {
  for (size_t i = 0; i + 3 < bytes->size(); i += 4) std::swap((*bytes)[i], (*bytes)[i + 2]);
}

}  // namespace

std::shared_ptr<CGImage> ShownImage::readBack() {
  const std::lock_guard lock(mutex_);
  if (auto picture = picture_.lock()) return picture;
  std::vector<uint8_t> bytes = texture_->_bytes();
  if (bytes.empty()) return nullptr;
  if (texture_->pixelFormat() == MTLPixelFormatBGRA8Unorm) exchangeRedAndBlue(&bytes);
  auto picture = CGImage::create(width(), height(), width() * 4, CGImageAlphaInfo::PremultipliedLast, std::move(bytes));
  picture_ = picture;
  return picture;
}

void ShownImage::forgetPicture() {
  const std::lock_guard lock(mutex_);
  picture_.reset();
}

std::shared_ptr<CAMetalDrawable> Ring::next() {
  {
    std::unique_lock lock(count_->mutex);
    if (!count_->fell.wait_for(lock, kLongestWait, [this] { return count_->out < kMostDrawn; })) return nullptr;
    ++count_->out;
  }
  auto image = takeImage();
  if (image) return std::make_shared<Drawable>(std::move(image), contents_, count_);
  const std::lock_guard lock(count_->mutex);
  --count_->out;
  return nullptr;
}

std::shared_ptr<ShownImage> Ring::takeImage() {
  const auto isFree = [](const auto& image) { return image.use_count() == 1; };
  if (const auto found = std::find_if(images_.begin(), images_.end(), isFree); found != images_.end()) {
    (*found)->forgetPicture();
    return *found;
  }
  constexpr uint32_t kUsage = MTLTextureUsageRenderTarget | MTLTextureUsageShaderRead;
  auto memory = Image::create(*gpu_, pixelFormat_, width_, height_, kUsage);
  if (!memory) return nullptr;
  auto image = std::make_shared<ShownImage>(std::make_shared<Texture>(std::move(memory), MTLStorageModePrivate));
  // When all are held, the one that was made first is left to its holder, so that drawing never waits for a reader.
  if (images_.size() == kRingSize) images_.erase(images_.begin());
  images_.push_back(image);
  return image;
}

}  // namespace ZELPlatform::vulkan
