#include "suggest.h"

#include <gtest/gtest.h>

#include <array>

namespace {

constexpr std::array<std::string_view, 4> kNames{"cmdVolumeSet", "cmdMuteSet", "cmdMuteAMP",
                                                 "cmdBalanceSet"};

TEST(Suggest, TheNearestNameIsTheOneWithTheFewestMistakes) {
    EXPECT_EQ(tools::nearest("cmdVolumSet", kNames), "cmdVolumeSet");
    EXPECT_EQ(tools::nearest("cmdMuteAPM", kNames), "cmdMuteAMP");
    EXPECT_EQ(tools::nearest("CMDMUTESET", kNames), "cmdMuteSet");
    EXPECT_EQ(tools::nearest("VolumeSet", kNames), "cmdVolumeSet");
}

}  // namespace
