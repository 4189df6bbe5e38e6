#include "drivers/egl/TextureCache.h"

#include "drivers/egl/GlState.h"
#include "platform/corevideo/Counters.h"

#include <algorithm>
#include <iterator>

namespace ZELPlatform {
namespace {

/// One that the GPU may still read, one to write.
constexpr size_t kStoragesInTurn = 2;

/// Sets how rows are unpacked and brings back what the program had set.
class UnpackRows {
 public:
  UnpackRows(bool canSkip, GLint rowLength) : canSkip_(canSkip), alignment_(glInteger(GL_UNPACK_ALIGNMENT)) {
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    if (!canSkip_) return;
    for (size_t i = 0; i < std::size(kNames); ++i) before_[i] = glInteger(kNames[i]);
    glPixelStorei(GL_UNPACK_ROW_LENGTH_EXT, rowLength);
    glPixelStorei(GL_UNPACK_SKIP_ROWS_EXT, 0);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS_EXT, 0);
  }

  ~UnpackRows() {
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment_);
    if (!canSkip_) return;
    for (size_t i = 0; i < std::size(kNames); ++i) glPixelStorei(kNames[i], before_[i]);
  }

  UnpackRows(const UnpackRows&) = delete;
  UnpackRows& operator=(const UnpackRows&) = delete;

 private:
  static constexpr GLenum kNames[] = {GL_UNPACK_ROW_LENGTH_EXT, GL_UNPACK_SKIP_ROWS_EXT, GL_UNPACK_SKIP_PIXELS_EXT};

  bool canSkip_;
  GLint alignment_;
  GLint before_[std::size(kNames)]{};
};

/// 0 for a format that is not taken.
size_t bytesPerPixel(GLenum format) {
  switch (format) {
    case GL_LUMINANCE:
    case GL_ALPHA:
    case GL_RED_EXT:
      return 1;
    case GL_RG_EXT:
    case GL_LUMINANCE_ALPHA:
      return 2;
    case GL_RGBA:
    case GL_BGRA_EXT:
      return 4;
    default:
      return 0;
  }
}

/// Copies a plane into rows without padding, with red and blue exchanged.
void swizzle(const CVPixelBuffer::Plane& plane, size_t width, size_t height, std::vector<uint8_t>* out) {
  out->resize(width * height * 4);
  uint8_t* target = out->data();
  for (size_t y = 0; y < height; ++y) {
    const uint8_t* source = static_cast<const uint8_t*>(plane.baseAddress) + y * plane.bytesPerRow;
    for (size_t x = 0; x < width; ++x, source += 4, target += 4) {
      target[0] = source[2];
      target[1] = source[1];
      target[2] = source[0];
      target[3] = source[3];
    }
  }
}

}  // namespace

TextureStorage::TextureStorage(GLuint name) : name_(name) { ++pixelCounters().textureStorages; }

TextureStorage::~TextureStorage() {
  glDeleteTextures(1, &name_);
  --pixelCounters().textureStorages;
}

std::shared_ptr<TextureStorage> TextureStorage::create(GLenum internalFormat, GLsizei width, GLsizei height,
                                                       GLenum format) {
  GLuint name = 0;
  glGenTextures(1, &name);
  std::shared_ptr<TextureStorage> storage(new TextureStorage(name));
  const BoundTexture bound(name);
  forgetErrors();
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(internalFormat), width, height, 0, format, GL_UNSIGNED_BYTE,
               nullptr);
  return glGetError() == GL_NO_ERROR ? storage : nullptr;
}

CVOpenGLESTextureRef TextureCache::createTextureFromImage(const CVPixelBufferRef& image, uint32_t target,
                                                          int32_t internalFormat, int32_t width, int32_t height,
                                                          uint32_t format, uint32_t type, size_t planeIndex) {
  const int32_t limit = capabilities_.maximumTextureSize;
  if (!image || target != GL_TEXTURE_2D || type != GL_UNSIGNED_BYTE) return nullptr;
  if (width <= 0 || height <= 0 || width > limit || height > limit) return nullptr;
  Layout layout{width, height, 0, 0, 0, false};
  if (!chooseLayout(static_cast<GLenum>(internalFormat), format, &layout)) return nullptr;
  const CVPixelBuffer::Plane plane = image->plane(planeIndex);
  const auto columns = static_cast<size_t>(width);
  if (!plane.baseAddress || plane.width < columns || plane.height < static_cast<size_t>(height)) return nullptr;
  if (plane.bytesPerRow < columns * layout.bytesPerPixel) return nullptr;
  auto storage = takeStorage(layout);
  if (storage) upload(plane, layout, storage->name());
  return storage;
}

bool TextureCache::chooseLayout(GLenum internalFormat, GLenum format, Layout* layout) const {
  layout->bytesPerPixel = bytesPerPixel(format);
  layout->internalFormat = internalFormat;
  layout->format = format;
  if (format == GL_BGRA_EXT) {
    if (internalFormat != GL_RGBA && internalFormat != GL_BGRA_EXT) return false;
    layout->swizzle = !capabilities_.bgraTextures;
    layout->format = layout->swizzle ? GL_RGBA : GL_BGRA_EXT;
    layout->internalFormat = capabilities_.bgraNamedTwice && !layout->swizzle ? GL_BGRA_EXT : GL_RGBA;
    return true;
  }
  const bool twoNames = format == GL_RG_EXT || format == GL_RED_EXT;
  return layout->bytesPerPixel > 0 && internalFormat == format && (!twoNames || capabilities_.rgTextures);
}

std::shared_ptr<TextureStorage> TextureCache::takeStorage(const Layout& layout) {
  auto entry = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.layout == layout; });
  if (entry == entries_.end()) entry = entries_.insert(entries_.end(), Entry{layout, {}});
  entry->usedSinceFlush = true;
  auto& storages = entry->storages;
  const size_t oldest = storages.size() < kStoragesInTurn ? storages.size() : (entry->lastTaken + 1) % storages.size();
  if (oldest < storages.size() && storages[oldest].use_count() == 1) {
    entry->lastTaken = oldest;
    return storages[oldest];
  }
  auto storage = TextureStorage::create(layout.internalFormat, layout.width, layout.height, layout.format);
  if (!storage) return nullptr;
  if (oldest < storages.size()) {
    // Its texture is still held: the holder keeps it.
    storages[oldest] = storage;
  } else {
    storages.push_back(storage);
  }
  entry->lastTaken = oldest;
  return storage;
}

void TextureCache::upload(const CVPixelBuffer::Plane& plane, const Layout& layout, GLuint texture) {
  const auto width = static_cast<size_t>(layout.width);
  const auto height = static_cast<size_t>(layout.height);
  const uint8_t* bytes = static_cast<const uint8_t*>(plane.baseAddress);
  size_t bytesPerRow = plane.bytesPerRow;
  if (layout.swizzle) {
    swizzle(plane, width, height, &swizzled_);
    bytes = swizzled_.data();
    bytesPerRow = width * layout.bytesPerPixel;
  }
  const bool tight = bytesPerRow == width * layout.bytesPerPixel;
  const bool wholePixels = bytesPerRow % layout.bytesPerPixel == 0;
  const bool atOnce = tight || (capabilities_.unpackRowLength && wholePixels);
  const BoundTexture bound(texture);
  const UnpackRows rows(capabilities_.unpackRowLength,
                        atOnce && !tight ? static_cast<GLint>(bytesPerRow / layout.bytesPerPixel) : 0);
  const GLsizei rowsAtATime = atOnce ? layout.height : 1;
  for (GLsizei y = 0; y < layout.height; y += rowsAtATime) {
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, y, layout.width, rowsAtATime, layout.format, GL_UNSIGNED_BYTE,
                    bytes + static_cast<size_t>(y) * bytesPerRow);
  }
  ++pixelCounters().uploads;
  pixelCounters().uploadedBytes += width * height * layout.bytesPerPixel;
}

void TextureCache::flush() {
  for (Entry& entry : entries_) {
    if (!entry.usedSinceFlush) {
      std::erase_if(entry.storages, [](const auto& storage) { return storage.use_count() == 1; });
      entry.lastTaken = 0;
    }
    entry.usedSinceFlush = false;
  }
  std::erase_if(entries_, [](const Entry& entry) { return entry.storages.empty(); });
}

}  // namespace ZELPlatform
