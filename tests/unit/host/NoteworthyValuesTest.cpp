#include "Fixture.h"

#include "debug/DBG_NoteworthyValueMgr.h"

namespace {

class NoteworthyValues : public HostTest {
protected:
    DBG_NoteworthyValueMgr const& values = *DBG_NoteworthyValueMgr::instance();
};

TEST_F(NoteworthyValues, AValueIsReadUntilItIsRemoved) {
    unsigned char value = 7;
    EXPECT_FALSE(values.getValue(5, &value, 1));
    EXPECT_EQ(value, 7);
    workstation.setNoteworthyValue(5, 200);
    EXPECT_TRUE(values.getValue(5, &value, 1));
    EXPECT_EQ(value, 200);
    workstation.removeNoteworthyValue(5);
    value = 7;
    EXPECT_FALSE(values.getValue(5, &value, 1));
    EXPECT_EQ(value, 7);
}

TEST_F(NoteworthyValues, AnotherSizeOrNoDestinationIsRefused) {
    workstation.setNoteworthyValue(5, 1);
    unsigned char value[4] = {7, 7, 7, 7};
    EXPECT_FALSE(values.getValue(5, value, 4));
    EXPECT_FALSE(values.getValue(5, value, 0));
    EXPECT_EQ(value[0], 7);
    EXPECT_FALSE(values.getValue(5, nullptr, 1));
}

} // namespace
