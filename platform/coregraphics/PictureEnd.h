#pragma once

#include <cstddef>
#include <cstdint>

namespace ZELPlatform {

/// Finds out whether the bytes of a file reach the end of the picture in it.
///
/// Decoders are made for pictures that still arrive: a JPEG or PNG file that was cut off decodes without a complaint,
/// with grey or empty rows. So the file's structure is followed beside the decoder: the segments of JPEG up to its end
/// marker, the chunks of PNG up to its last, the length that WebP states.
class PictureEnd {
 public:
  void feed(const uint8_t* bytes, size_t count);

  /// False for a picture of a kind it knows that has not come to its end yet.
  bool isReachedOrUnknown() const {
    return format_ == Format::Unrecognized || format_ == Format::Other || state_ == State::End;
  }

 private:
  enum class Format { Unrecognized, Jpeg, Png, WebP, Other };
  enum class State {
    /// Collects `header_`.
    Header,
    /// Passes over `skip_` bytes to the next header.
    Skip,
    /// JPEG: looks for the next marker, in the data of the picture or before a segment.
    Search,
    End,
  };

  void expectHeader(size_t size);
  void passOver(uint64_t count, State next);
  void takeHeader();
  void recognize();
  void takeJpegMarker();
  void takePngChunk();

  Format format_ = Format::Unrecognized;
  State state_ = State::Header;
  State afterSkip_ = State::Header;
  uint8_t header_[12] = {};
  size_t headerSize_ = 12;
  size_t headerFill_ = 0;
  uint64_t skip_ = 0;
};

}  // namespace ZELPlatform
