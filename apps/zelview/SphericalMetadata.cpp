#include "apps/zelview/SphericalMetadata.h"

#include <fstream>

namespace zelview {
namespace {

class FileBytes final : public ByteSource {
 public:
  explicit FileBytes(const std::string& path) : file_(path, std::ios::binary | std::ios::ate) {
    const std::streamoff end = file_ ? static_cast<std::streamoff>(file_.tellg()) : 0;
    size_ = end > 0 ? static_cast<uint64_t>(end) : 0;
  }

  uint64_t size() const override { return size_; }

  bool read(uint64_t offset, void* bytes, size_t count) override {
    if (offset > size_ || size_ - offset < count) return false;
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(offset));
    file_.read(static_cast<char*>(bytes), static_cast<std::streamsize>(count));
    return file_.gcount() == static_cast<std::streamsize>(count);
  }

 private:
  std::ifstream file_;
  uint64_t size_ = 0;
};

}  // namespace

std::optional<SphericalMetadata> readSphericalMetadata(ByteSource& bytes) {
  if (auto metadata = readMp4Metadata(bytes)) return metadata;
  return readMatroskaMetadata(bytes);
}

std::optional<SphericalMetadata> readSphericalMetadata(const std::string& path) {
  FileBytes bytes(path);
  return readSphericalMetadata(bytes);
}

}  // namespace zelview
