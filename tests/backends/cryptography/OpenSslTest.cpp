#include <gtest/gtest.h>

#include "backends/cryptography/OpenSslDigest.h"
#include "backends/cryptography/OpenSslEncryption.h"
#include "foundation/Error.h"
#include "mobilelink/LinkErrors.h"
#include "mobilelink/SealedBox.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

std::string fromHex(std::string_view digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
    }
    return bytes;
}

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

EncryptionKey keyOf(std::string_view bytes) { return *EncryptionKey::fromBytes(bytes); }

struct Vector {
    const char* key;
    const char* nonce;
    const char* plain;
    const char* cipher;
    const char* tag;
};

// Test cases 13 to 15 of "The Galois/Counter Mode of Operation" by McGrew and Viega.
constexpr const char* zeros = "0000000000000000000000000000000000000000000000000000000000000000";
const std::vector<Vector> vectors{
    {zeros, "000000000000000000000000", "", "", "530f8afbc74536b9a963b4f1c4cb738b"},
    {zeros, "000000000000000000000000", "00000000000000000000000000000000",
     "cea7403d4d606b6e074ec5d3baf39d18", "d0d1c8a799996bf0265b98b5d48ab919"},
    {"feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308", "cafebabefacedbaddecaf888",
     "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
     "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255",
     "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
     "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662898015ad",
     "b094dac5d93471bdec1a502270e3cc6c"}};

TEST(OpenSslEncryptionTest, GivesThePublishedAnswersWholeAndInPieces) {
    const auto encryption = makeOpenSslEncryption();
    for (const Vector& vector : vectors) {
        EncryptionNonce nonce{};
        std::ranges::copy(bytesOf(fromHex(vector.nonce)), nonce.begin());
        const EncryptionKey key = keyOf(fromHex(vector.key));
        const std::string plain = fromHex(vector.plain);
        for (const std::size_t pieceByteCount : {1u, 7u, 1000u}) {
            const auto sealing = encryption->seal(key, nonce);
            const auto opening = encryption->open(key, nonce);
            std::string sealed = plain;
            std::string opened;
            const auto bytes = std::as_writable_bytes(std::span(sealed));
            for (std::size_t at = 0; at < plain.size(); at += pieceByteCount) {
                const std::size_t count = std::min(pieceByteCount, plain.size() - at);
                sealing->update(bytes.subspan(at, count), bytes.subspan(at, count));
            }
            EXPECT_EQ(sealed, fromHex(vector.cipher));
            const AuthenticationTag tag = sealing->finish();
            EXPECT_TRUE(std::ranges::equal(tag, bytesOf(fromHex(vector.tag))));
            opening->update(bytes, bytes);
            EXPECT_EQ(sealed, plain);
            EXPECT_TRUE(opening->finish(tag));
        }
    }
}

TEST(OpenSslEncryptionTest, OpensTheBoxThatAnotherProgramMade) {
    const auto encryption = makeOpenSslEncryption();
    const Vector& vector = vectors.back();
    const std::string box = fromHex(std::string(vector.nonce) + vector.cipher + vector.tag);
    EXPECT_EQ(openBox(*encryption, keyOf(fromHex(vector.key)), box), fromHex(vector.plain));
}

TEST(OpenSslEncryptionTest, SealingTwiceGivesDifferentBoxesOfTheSameText) {
    const auto encryption = makeOpenSslEncryption();
    const EncryptionKey key = keyOf(std::string(32, 'k'));
    const std::string first = sealBox(*encryption, key, "the same");
    const std::string second = sealBox(*encryption, key, "the same");
    EXPECT_NE(first.substr(0, 12), second.substr(0, 12));
    EXPECT_NE(first.substr(12), second.substr(12));
    EXPECT_EQ(openBox(*encryption, key, first), "the same");
    EXPECT_EQ(openBox(*encryption, key, second), "the same");
}

TEST(OpenSslEncryptionTest, ABoxThatWasTouchedAnywhereDoesNotOpen) {
    const auto encryption = makeOpenSslEncryption();
    const EncryptionKey key = keyOf(std::string(32, 'k'));
    for (const std::string plain : {"", "attack at dawn"}) {
        const std::string box = sealBox(*encryption, key, plain);
        const auto refuses = [&](const std::string& touched) {
            EXPECT_THROW(openBox(*encryption, key, touched), UnreadableSealedFile);
        };
        for (std::size_t bit = 0; bit < box.size() * 8; ++bit) {
            std::string touched = box;
            touched[bit / 8] = static_cast<char>(touched[bit / 8] ^ (1 << (bit % 8)));
            refuses(touched);
        }
        for (std::size_t length = 0; length < box.size(); ++length) refuses(box.substr(0, length));
        refuses(box + '\0');
        refuses(box + box);
        EXPECT_THROW(openBox(*encryption, keyOf(std::string(32, 'K')), box), UnreadableSealedFile);
    }
}

TEST(OpenSslEncryptionTest, ASealedFileIsKnownByItsMarkAndCheckedToTheLastByte) {
    testing::TestPlatform world;
    const auto encryption = makeOpenSslEncryption();
    const EncryptionKey key = keyOf(std::string(32, 'k'));
    // Around the size in which the file is read, so that the tag may come in two pieces.
    for (const std::size_t byteCount : {0, 1, (1 << 18) - 28, (1 << 18) - 20, 700'000}) {
        const Path path = world.folder / ("box" + std::to_string(byteCount));
        std::string plain(byteCount, 'p');
        const auto file = world.files.createFile(path);
        SealedBoxWriter writer(*encryption, key, *file);
        writer.write(std::as_bytes(std::span(plain)));
        const NonceAndTag mark = writer.finish();
        file->close();
        EXPECT_TRUE(isSealedBox(world.files, *encryption, key, path, mark));
        std::string box = world.folder.read(path.filename());
        EXPECT_EQ(openBox(*encryption, key, box), std::string(byteCount, 'p'));
        EXPECT_FALSE(isSealedBox(world.files, *encryption, key, path, {mark.nonce, {}}));
        box[box.size() / 2] ^= 1;
        world.folder.write(path.filename(), box);
        EXPECT_FALSE(isSealedBox(world.files, *encryption, key, path, mark));
        world.folder.write(path.filename(), box.substr(0, box.size() / 2));
        EXPECT_FALSE(isSealedBox(world.files, *encryption, key, path, mark));
    }
}

TEST(OpenSslEncryptionTest, OnlyThirtyTwoBytesAreAKey) {
    for (const std::size_t count : {0, 16, 31, 33, 64}) {
        EXPECT_FALSE(EncryptionKey::fromBytes(std::string(count, 'k')));
    }
    EXPECT_TRUE(EncryptionKey::fromBytes(std::string(32, '\0')));
}

TEST(OpenSslDigest, GivesSha256OfWhatWasStreamed) {
    const auto stream = makeOpenSslDigester()->sha256();
    for (const std::string part : {"a", "", "bc"}) {
        stream->update(std::as_bytes(std::span(part)));
    }
    EXPECT_EQ(stream->finish().toHex(),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace nookery
