// Library files: whole ones are read, all others are refused with a sentence.

#include "MetalSupport.h"

#include "platform/metal/LibraryFile.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace metaltest {
namespace {

namespace fs = std::filesystem;
using ZELPlatform::decodeLibrary;
using ZELPlatform::encodeLibrary;
using ZELPlatform::LibraryFunction;
using ZELPlatform::readLibrary;

std::vector<uint8_t> testLibrary() {
  std::ifstream file(testLibraryPath(), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// One sentence that begins with "The library".
void expectRefusal(const std::vector<uint8_t>& bytes, const std::string& what) {
  std::string error;
  EXPECT_FALSE(decodeLibrary(bytes, &error)) << what;
  EXPECT_EQ(error.rfind("The library", 0), 0U) << what << ": " << error;
  EXPECT_EQ(error.find('\n'), std::string::npos) << what;
}

TEST(LibraryFile, HoldsTheFunctionsThatWereCompiled) {
  std::string error;
  const auto functions = decodeLibrary(testLibrary(), &error);
  ASSERT_TRUE(functions) << error;
  std::map<std::string, ZELPlatform::ModuleTraits> traits;
  for (const LibraryFunction& function : *functions) traits[function.name] = function.traits;
  EXPECT_EQ(traits.at("vs_quad").stage, ZELPlatform::ShaderStage::Vertex);
  EXPECT_EQ(traits.at("vs_quad").bindings, 0U);
  EXPECT_EQ(traits.at("fs_planes").stage, ZELPlatform::ShaderStage::Fragment);
  EXPECT_EQ(traits.at("fs_planes").bindings, 0b11U);
  EXPECT_EQ(traits.at("cs_invert").groupSize, MTLSizeMake(8, 4, 1));
  EXPECT_EQ(traits.at("cs_add").bindings, 0b11U << 16U);
  EXPECT_EQ(encodeLibrary(*functions), testLibrary());
}

TEST(LibraryFile, CutOrChangedAnywhereItIsRefused) {
  const std::vector<uint8_t> whole = testLibrary();
  ASSERT_GT(whole.size(), 1000U);
  for (size_t length = 0; length < whole.size(); length += length < 700 ? 1 : 97) {
    expectRefusal({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)}, "cut at " + std::to_string(length));
  }
  std::vector<uint8_t> longer = whole;
  longer.push_back(0);
  expectRefusal(longer, "one byte more");
  std::mt19937 random(7);
  for (int i = 0; i < 2000; ++i) {
    std::vector<uint8_t> flipped = whole;
    const size_t at = i < 700 ? static_cast<size_t>(i) : random() % whole.size();
    flipped[at] = static_cast<uint8_t>(flipped[at] ^ (1U << (random() % 8)));
    expectRefusal(flipped, "a bit of byte " + std::to_string(at));
  }
}

TEST(LibraryFile, WrongEvenWithTheRightChecksumItIsRefused) {
  const auto functions = *decodeLibrary(testLibrary(), nullptr);
  const auto spoiled = [&](const std::function<void(LibraryFunction&)>& spoil) {
    auto changed = functions;
    spoil(changed[1]);
    return encodeLibrary(changed);
  };
  expectRefusal(spoiled([](auto& f) { f.name.clear(); }), "a function without a name");
  expectRefusal(spoiled([](auto& f) { f.code.clear(); }), "a function without code");
  expectRefusal(spoiled([](auto& f) { f.code.back() += 1U << 16U; }), "code that ends within an instruction");
  expectRefusal(spoiled([](auto& f) { f.code[0] = 0x03022307; }), "code in the other byte order");
  expectRefusal(spoiled([](auto& f) { f.code[5] = 0; }), "an instruction without a length");
  expectRefusal(spoiled([](auto& f) { f.traits.stage = ZELPlatform::ShaderStage::Vertex; }), "another stage");
  auto empty = functions;
  for (LibraryFunction& f : empty) f.code.insert(f.code.end(), {6U << 16U | 16U, 4, 17, 8, 0, 1});
  expectRefusal(encodeLibrary(empty), "a group size of zero");
  expectRefusal({0x5A, 0x45, 0x4C}, "three bytes");
  EXPECT_TRUE(decodeLibrary(encodeLibrary({}), nullptr));
}

TEST(LibraryFile, AFileThatCannotBeReadIsRefused) {
  for (const char* path : {"", "/nonexistent.metallib", "/", "/dev/null"}) {
    std::string error;
    EXPECT_FALSE(readLibrary(path, &error)) << path;
    EXPECT_FALSE(error.empty()) << path;
  }
}

TEST_F(MetalTest, ALibraryGivesItsFunctionsAndNoOthers) {
  EXPECT_EQ(library->newFunctionWithName("fs_color")->name(), "fs_color");
  EXPECT_FALSE(library->newFunctionWithName(""));
  EXPECT_FALSE(library->newFunctionWithName("fs_colour"));
  std::string error;
  EXPECT_FALSE(device->newLibraryWithFile("/nonexistent.metallib", &error));
  EXPECT_FALSE(error.empty());
  // The same functions give the same compiled pipeline, also after the library's file was read again.
  const auto one = renderPipeline("fs_color");
  const uint64_t made = pixelCounters().gpuObjectsMade;
  const auto two = renderPipeline("fs_color");
  EXPECT_EQ(pixelCounters().gpuObjectsMade, made);
  library.reset();
  const auto texture = target(2, 2);
  const Quad quad(*device);
  const auto buffer = queue->commandBuffer();
  const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(texture));
  encoder->setRenderPipelineState(two);
  quad.draw(*encoder, {{-1, -1, 2, 2}, {0, 0, 1, 1}});
  buffer->commit();
  EXPECT_TRUE(isFilledWith(*texture, kBlue));
}

}  // namespace
}  // namespace metaltest
