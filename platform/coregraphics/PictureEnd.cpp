#include "platform/coregraphics/PictureEnd.h"

#include <algorithm>
#include <cstring>

namespace ZELPlatform {

namespace {
uint32_t bigEndian(const uint8_t* b) {
  return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | uint32_t{b[3]};
}
uint32_t littleEndian(const uint8_t* b) {
  return uint32_t{b[3]} << 24 | uint32_t{b[2]} << 16 | uint32_t{b[1]} << 8 | uint32_t{b[0]};
}
}  // namespace

void PictureEnd::feed(const uint8_t* bytes, size_t count) {
  while (count > 0 && state_ != State::End && format_ != Format::Other) {
    size_t used = count;
    if (state_ == State::Header) {
      used = std::min(headerSize_ - headerFill_, count);
      std::memcpy(header_ + headerFill_, bytes, used);
      headerFill_ += used;
      if (headerFill_ == headerSize_) takeHeader();
    } else if (state_ == State::Skip) {
      used = static_cast<size_t>(std::min<uint64_t>(skip_, count));
      passOver(skip_ - used, afterSkip_);
    } else if (const void* marker = std::memchr(bytes, 0xFF, count)) {
      used = static_cast<size_t>(static_cast<const uint8_t*>(marker) - bytes) + 1;
      expectHeader(1);
    }
    bytes += used;
    count -= used;
  }
}

void PictureEnd::expectHeader(size_t size) {
  state_ = State::Header;
  headerSize_ = size;
  headerFill_ = 0;
}

void PictureEnd::passOver(uint64_t count, State next) {
  skip_ = count;
  afterSkip_ = next;
  state_ = count > 0 ? State::Skip : next;
  if (state_ == State::Header) expectHeader(headerSize_);
}

void PictureEnd::takeHeader() {
  switch (format_) {
    case Format::Unrecognized:
      return recognize();
    case Format::Jpeg:
      return takeJpegMarker();
    case Format::Png:
      return takePngChunk();
    case Format::WebP:
    case Format::Other:
      return;
  }
}

/// Reads the signature, and what follows it once more as the first part of the picture's structure.
void PictureEnd::recognize() {
  uint8_t start[sizeof header_];
  std::memcpy(start, header_, sizeof start);
  if (std::memcmp(start, "\xFF\xD8\xFF", 3) == 0) {
    format_ = Format::Jpeg;
    state_ = State::Search;
    feed(start + 2, sizeof start - 2);
  } else if (std::memcmp(start, "\x89PNG\r\n\x1A\n", 8) == 0) {
    format_ = Format::Png;
    expectHeader(8);
    feed(start + 8, sizeof start - 8);
  } else if (std::memcmp(start, "RIFF", 4) == 0 && std::memcmp(start + 8, "WEBP", 4) == 0) {
    format_ = Format::WebP;
    // The length counts from behind itself; four bytes of it were just read.
    passOver(std::max(littleEndian(start + 4), 4u) - 4, State::End);
  } else {
    format_ = Format::Other;
  }
}

void PictureEnd::takeJpegMarker() {
  if (headerSize_ == 2) {
    // A segment's length counts its own two bytes.
    const unsigned length = header_[0] * 256u + header_[1];
    passOver(std::max(length, 2u) - 2, State::Search);
    return;
  }
  const uint8_t code = header_[0];
  constexpr uint8_t fill = 0xFF, stuffed = 0x00, temporary = 0x01, restart = 0xD0, start = 0xD8, end = 0xD9;
  if (code == end) {
    state_ = State::End;
  } else if (code == fill) {
    expectHeader(1);
  } else if (code == stuffed || code == temporary || (code >= restart && code <= start)) {
    state_ = State::Search;
  } else {
    expectHeader(2);
  }
}

void PictureEnd::takePngChunk() {
  const bool isLast = std::memcmp(header_ + 4, "IEND", 4) == 0;
  constexpr uint64_t checksum = 4;
  passOver(bigEndian(header_) + checksum, isLast ? State::End : State::Header);
}

}  // namespace ZELPlatform
