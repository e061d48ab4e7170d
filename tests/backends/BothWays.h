#pragma once

#include <gtest/gtest.h>

#include "backends/reader/Isolated.h"

namespace nookery::testing {

/// A service that decodes is tested in this process, and as the program has it.
enum class Way { direct, isolated };

/// Of the reader program that was built.
ReaderPool& testReaders();

inline const auto bothWays = ::testing::Values(Way::direct, Way::isolated);

inline std::string nameOfWay(const ::testing::TestParamInfo<Way>& info) {
    return info.param == Way::direct ? "direct" : "isolated";
}

}  // namespace nookery::testing

/// Runs the tests of a fixture that is parametrised with a Way.
#define NOOKERY_BOTH_WAYS(fixture)                                        \
    INSTANTIATE_TEST_SUITE_P(Ways, fixture, ::nookery::testing::bothWays, \
                             ::nookery::testing::nameOfWay)
