#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/Log.h"
#include "platform/TextEmbedder.h"

namespace nookery {

/// The default embedder: a small English sentence encoder (two transformer layers, 512 dimensions)
/// run by our own code on one core; docs/embedding.md has its recipe and figures.
///
/// A memory's vector is the weighted mean of its sentences' vectors, minus the mean of English
/// texts at large, at unit length: unrelated texts then have cosines near 0. Memories in other
/// languages have none, because the model gives them all nearly the same vector. Queries are too
/// short to be judged by language. About the first 12,000 characters of a long text count.
///
/// Reads the asset that tools/convert-encoder makes. Throws FileError when it cannot be read and
/// DamagedEncoder (EncoderModel.h) when it is not whole. The embedder keeps about 9 MB.
std::unique_ptr<TextEmbedder> openSentenceEncoder(FileSystem& files, const Path& asset);

/// As `openSentenceEncoder`, but reads the asset, which takes some 30 ms, when it is first needed.
/// If that fails, `log` is told once; then a query has no vector, as if finding by meaning were
/// off, and `embedMemory` throws the failure, so that no memory is taken for one without meaning.
/// Both references outlive the embedder.
std::unique_ptr<TextEmbedder> makeSentenceEncoder(FileSystem& files, Path asset, Log& log);

/// Where the asset lies for a program in `programFolder`, in a build tree as when installed.
Path sentenceEncoderAsset(const Path& programFolder);

}  // namespace nookery
