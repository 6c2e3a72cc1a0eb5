#include "copy_fields.h"

#include <gtest/gtest.h>

#include "sound/records.h"

namespace {

using sound::service::copyLikeFields;
using tools::fieldsOf;

TEST(CopyLikeFields, CarriesOverWhatBothEndsOfTwoRecordsHaveInCommon) {
    sound::soundParams_t from{};
    from.field1 = 1;
    from.field2 = -2;
    from.field42 = 42;
    from.field43 = 43;
    from.field46.field2 = 46;
    from.field51 = 51;
    sound::soundParamsInfo_t to{};
    to.field43 = to.field44 = to.field45 = 7;

    copyLikeFields(fieldsOf(from), fieldsOf(to));

    EXPECT_EQ(to.field1, 1U);
    EXPECT_EQ(to.field2, -2);
    EXPECT_EQ(to.field42, 42U);
    // The report has three fields that the command lacks.
    EXPECT_EQ(to.field43, 7U);
    EXPECT_EQ(to.field44, 7U);
    EXPECT_EQ(to.field45, 7U);
    EXPECT_EQ(to.field46, 43U);
    EXPECT_EQ(to.field49.field2, 46U);
    EXPECT_EQ(to.field54, 51U);
}

}  // namespace
