#pragma once

#include <ZELPlatform/CoreVideo.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zelview {

/// What is written.
struct TranscoderSettings {
  std::string input;
  /// The file that is written; its name's ending chooses the container. A caller that wants no partly written file
  /// under a name gives another one here and renames.
  std::string output;
  /// The ending that chooses container and encoder: ".mp4", ".mkv", ".webm", or ".y4m" for pictures that are not
  /// compressed, without sound.
  std::string container;
  size_t width = 0;
  size_t height = 0;
  /// Frames per second; none: the input's.
  std::optional<double> framesPerSecond;
  /// 1 (smallest) to 100 (best).
  int quality = 75;
  /// Asked several times a second by whatever waits; may be empty.
  std::function<bool()> interrupted;
};

/// Thrown by whatever waits when `TranscoderSettings::interrupted` says so.
struct Interruption {};

/// A decoded frame, two planes, video range, BT.709.
struct DecodedFrame {
  CVPixelBufferRef pixels;
  /// Seconds from the beginning of the video.
  double time = 0.0;
};

/// Takes a video apart and puts it together again with other pictures: every frame once, in order, as fast as frames
/// are taken; sound is carried over as it is where the container allows it, else encoded anew. Decoding and encoding
/// run on threads of their own. One thread uses it.
class Transcoder {
 public:
  /// Opens the input up to its first frame. Throws `ViewerError`.
  explicit Transcoder(const TranscoderSettings& settings);
  ~Transcoder();

  size_t inputWidth() const;
  size_t inputHeight() const;
  /// Seconds; 0 if not known.
  double duration() const;
  /// How sound is treated, as a phrase: "copied", "encoded anew", "none".
  std::string soundDescription() const;

  /// The next frame; none at the end. Blocks. Throws `ViewerError` when decoding or encoding fails.
  std::optional<DecodedFrame> nextFrame();

  /// A picture of the output's size to draw into, for the frame that was taken last: two planes, video range, BT.709.
  /// Throws `ViewerError`.
  CVPixelBufferRef takePicture();

  /// Hands the picture over that was taken last. Blocks while the encoder is behind.
  void pushPicture();

  /// Ends the output and waits until it is written whole. Throws `ViewerError`.
  void finish();

  Transcoder(const Transcoder&) = delete;
  Transcoder& operator=(const Transcoder&) = delete;

 private:
  struct Pipeline;
  std::unique_ptr<Pipeline> pipeline_;
};

}  // namespace zelview
