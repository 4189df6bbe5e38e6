#pragma once

#include <cstdint>
#include <memory>

class MTLCommandQueue;
class MTLDevice;
class MTLLibrary;
class MTLTexture;
class NSURL;

/// The version of everything in this header. It is raised with every change, however small: a framework of another
/// version is left alone.
inline constexpr uint32_t kZELNetworkInterfaceVersion = 1;

/// What a network is chosen by. The kit passes content and encoder type on as its host set them; only the framework
/// gives them meaning. The model type is always 0.
struct ZELNetworkRequest {
  int64_t modelType = 0;
  int64_t encoderType = 0;
  int64_t contentType = 0;
  int64_t inputWidth = 0;
  int64_t inputHeight = 0;
};

/// A model's file, opened.
class ZELNetworkModelReader {
 public:
  virtual ~ZELNetworkModelReader() = default;
};

/// A model, read whole. Any thread.
class ZELNetworkModel {
 public:
  virtual ~ZELNetworkModel() = default;

  /// How many times larger the output is than the input in each direction.
  virtual int32_t rescaleFactor() const = 0;
};

/// A model on a GPU, for inputs of one size. One thread at a time.
class ZELNetwork {
 public:
  virtual ~ZELNetwork() = default;

  /// Writes the enlarged input to the output. The work has been committed to the network's queue when this returns.
  virtual void process(const std::shared_ptr<MTLTexture>& inputTexture,
                       const std::shared_ptr<MTLTexture>& outputTexture) = 0;
};

/// What the kit needs of a framework for neural networks. Any thread; it lives to the end of the process.
///
/// A framework is a shared object `ZELNeural.so` beside the kit's library, or in `zelkit/` beside it. It exports, with
/// C linkage, `const uint32_t ZELNetworkInterfaceVersion`, which is looked at first, and `ZELNetworkFramework*
/// ZELNetworkSharedFramework()`, which may return null.
class ZELNetworkFramework {
 public:
  virtual ~ZELNetworkFramework() = default;

  virtual bool isInputResolutionSupported(const ZELNetworkRequest& request) = 0;

  /// The file of the model to use; null when there is none.
  virtual std::shared_ptr<const NSURL> modelURL(const ZELNetworkRequest& request) = 0;

  /// Null when the file cannot be read.
  virtual std::shared_ptr<ZELNetworkModelReader> createReader(const std::shared_ptr<const NSURL>& modelURL) = 0;

  /// Null when the file holds no valid model.
  virtual std::shared_ptr<const ZELNetworkModel> createModel(const std::shared_ptr<ZELNetworkModelReader>& reader) = 0;

  /// Prepares a model for inputs of that size. `library` is the kit's library of shader functions, among which a
  /// framework may keep its own. Null when the GPU cannot run it.
  virtual std::shared_ptr<ZELNetwork> createNetwork(const std::shared_ptr<MTLDevice>& device,
                                                    const std::shared_ptr<MTLLibrary>& library,
                                                    const std::shared_ptr<MTLCommandQueue>& queue, int64_t inputWidth,
                                                    int64_t inputHeight, int64_t backgroundTolerance,
                                                    const std::shared_ptr<const ZELNetworkModel>& model) = 0;
};
