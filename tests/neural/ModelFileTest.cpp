#include "neural/ModelFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>

#include "neural/Framework.h"
#include "neural/ReferenceNetwork.h"
#include "superres/ZELCNNSuperResolver.h"

namespace ZELTest {
namespace {

namespace fs = std::filesystem;
using ZELNeural::decodeModel;
using ZELNeural::ModelData;
using Bytes = std::vector<uint8_t>;

constexpr size_t kVersionAt = 8;
constexpr size_t kSizeAt = 12;
constexpr size_t kChecksumAt = 16;
constexpr size_t kBodyAt = 20;
constexpr size_t kLayersAt = kBodyAt + 12;

Bytes wholeFile() { return ZELNeural::readModelFile(VECTORS_DIR "/random.zelluma").value_or(Bytes{}); }

void put(Bytes& bytes, size_t at, uint32_t number) {
  for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(number >> (8 * i));
}

/// The file with its size and checksum made to fit, so that what is wrong in it is met by the reader itself.
Bytes sealed(Bytes bytes) {
  uint32_t crc = ~0U;
  for (size_t i = kBodyAt; i < bytes.size(); ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1U) ^ (0xEDB88320U & (0U - (crc & 1U)));
  }
  put(bytes, kSizeAt, static_cast<uint32_t>(bytes.size()));
  put(bytes, kChecksumAt, ~crc);
  return bytes;
}

TEST(ModelFile, AWholeFileHasTheShapeThatItSays) {
  const std::optional<ModelData> model = decodeModel(wholeFile());
  ASSERT_TRUE(model);
  EXPECT_EQ(model->layers.size(), 4U);
  EXPECT_EQ(model->multiplyAdds(), 100U + 400 + 2 * 2304 + 576);
  EXPECT_EQ(decodeModel(sealed(wholeFile()))->multiplyAdds(), model->multiplyAdds());
}

TEST(ModelFile, WhatIsNotWholeIsRefused) {
  const Bytes whole = wholeFile();
  ASSERT_GT(whole.size(), kLayersAt);
  for (size_t size = 0; size < whole.size(); size += size < 200 ? 1 : 97) {
    EXPECT_FALSE(decodeModel(std::span(whole).first(size))) << size;
    if (size >= kBodyAt) {
      EXPECT_FALSE(decodeModel(sealed(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size))))) << size;
    }
  }
  Bytes longer = whole;
  longer.push_back(0);
  EXPECT_FALSE(decodeModel(longer));
  EXPECT_FALSE(decodeModel(sealed(longer)));
}

TEST(ModelFile, EveryBitCounts) {
  const Bytes whole = wholeFile();
  std::mt19937 random(7);
  for (size_t at = 0; at < whole.size(); at += at < 200 ? 1 : 53) {
    Bytes flipped = whole;
    flipped[at] ^= static_cast<uint8_t>(1U << (random() % 8));
    EXPECT_FALSE(decodeModel(flipped)) << at;
  }
}

TEST(ModelFile, OtherVersionsAndShapesThatCannotBeRunAreRefused) {
  const auto accepts = [](size_t at, uint32_t number) {
    Bytes bytes = wholeFile();
    put(bytes, at, number);
    return decodeModel(sealed(bytes)).has_value();
  };
  EXPECT_TRUE(accepts(kVersionAt, 1));
  for (const uint32_t version : {0U, 2U, 0xFFFFFFFFU}) EXPECT_FALSE(accepts(kVersionAt, version));
  for (const uint32_t absurd : {0U, 3U, 8U, 17U, 0x10000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    EXPECT_FALSE(accepts(kBodyAt, absurd)) << "rescale factor " << absurd;
    EXPECT_FALSE(accepts(kBodyAt + 4, absurd)) << "base kernel " << absurd;
    EXPECT_FALSE(accepts(kBodyAt + 8, absurd)) << "layers " << absurd;
    for (size_t field = 0; field < 3; ++field) {
      EXPECT_FALSE(accepts(kLayersAt + 16 + 4 * field, absurd == 3 && field == 2 ? 5 : absurd)) << field;
    }
    if (absurd != 0) {
      EXPECT_FALSE(accepts(kLayersAt + 12, absurd)) << "activation " << absurd;
    }
  }
}

TEST(ModelFile, NumbersThatAreNotFiniteAreRefused) {
  for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    Bytes bytes = wholeFile();
    std::memcpy(&bytes[bytes.size() - 4], &bad, 4);
    EXPECT_FALSE(decodeModel(sealed(bytes)));
  }
}

TEST(ModelFile, AFrameworkReadsFilesThroughTheBoundary) {
  const fs::path folder = fs::path(testing::TempDir()) / "zelluma";
  fs::create_directories(folder);
  const auto written = [&](const std::string& name, const Bytes& bytes) {
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return NSURL::fileURLWithPath((folder / name).string());
  };
  ZELNeural::Framework framework;
  const auto model = ZELCNNSuperResolver::cachedModelForURL(framework, written("whole", wholeFile()));
  ASSERT_TRUE(model);
  EXPECT_EQ(model->rescaleFactor(), 2);

  EXPECT_FALSE(framework.createReader(nullptr));
  EXPECT_FALSE(framework.createReader(NSURL::fileURLWithPath((folder / "absent").string())));
  EXPECT_FALSE(framework.createReader(NSURL::fileURLWithPath(folder.string()))) << "a folder";
  EXPECT_FALSE(framework.createReader(written("empty", {})));
  EXPECT_FALSE(framework.createReader(written("huge", Bytes(2 << 20))));
  const auto reader = framework.createReader(written("text", Bytes(100, 'x')));
  ASSERT_TRUE(reader);
  EXPECT_FALSE(framework.createModel(reader));
  EXPECT_FALSE(framework.createModel(std::make_shared<ZELNetworkModelReader>())) << "another framework's";
  EXPECT_FALSE(framework.createModel(nullptr));
  fs::remove_all(folder);
}

TEST(NeuralReference, EqualsThePyTorchNetwork) {
  for (const char* model :
       {VECTORS_DIR "/random.zelluma", MODELS_DIR "/general.zelluma", MODELS_DIR "/screen.zelluma"}) {
    const std::string name = fs::path(model).stem().string();
    const Plane input = readPlane(VECTORS_DIR "/" + name + "-input.pgm");
    const Plane output = readPlane(VECTORS_DIR "/" + name + "-output.pgm");
    ASSERT_GT(input.width, 0U) << name;
    const std::optional<ModelData> data = decodeModel(ZELNeural::readModelFile(model).value_or(Bytes{}));
    ASSERT_TRUE(data) << name;
    EXPECT_LE(largestDifference(doubled(*data, input), output), 1) << name;
  }
}

}  // namespace
}  // namespace ZELTest
