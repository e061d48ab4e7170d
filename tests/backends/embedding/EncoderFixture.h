#pragma once

#include <gtest/gtest.h>

#include <string>

#include "backends/embedding/EncoderModel.h"
#include "backends/embedding/SentenceEncoder.h"
#include "foundation/FileSystem.h"

namespace nookery::testing {

/// The asset as the build made it. It exists once for all tests, because reading it takes a while.
/// A test that needs it is skipped, and says so, where the set-up could not fetch the encoder.
class EncoderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!files().status(asset())) {
            GTEST_SKIP()
                << "There is no sentence encoder: run packaging/fetch-sentence-encoder and "
                   "build again.";
        }
    }

    static FileSystem& files() {
        static const auto instance = makePosixFileSystem();
        return *instance;
    }
    static Path asset();

    static const std::string& assetBytes() {
        static const std::string bytes =
            readWholeFile(files(), asset(), encoder::maximumAssetByteCount);
        return bytes;
    }
    static const encoder::EncoderModel& model() {
        static const auto instance = encoder::readEncoderModel(assetBytes());
        return instance;
    }
    static const TextEmbedder& embedder() {
        static const auto instance = openSentenceEncoder(files(), asset());
        return *instance;
    }
};

}  // namespace nookery::testing
