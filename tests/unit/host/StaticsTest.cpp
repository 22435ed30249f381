#include "address/IPAddress.h"
#include "debug/DBG_Log.h"
#include "debug/DBG_Output.h"
#include "imc/IMC_Manager.h"

#include <gtest/gtest.h>

namespace {

/** Uses the platform before main() starts, as a module's static objects may. */
struct Early {
    std::string prepareExit = IMC_Manager::prepExitCmd;
    std::string any = IPAddress::IpAddressAny;
    std::string direction = DBG_Output::directionToStr[1];
    std::string codec = DBG_Output::codecToStr[3];
    std::string framing = DBG_Output::framingToStr[0].name;
    IMC_Manager* imc = IMC_Manager::instance(0xFF);
    DBG_Log log;
} const early;

TEST(Statics, ThePlatformIsThereBeforeMainStarts) {
    EXPECT_EQ(early.prepareExit, IMC_Manager::prepExitCmd);
    EXPECT_FALSE(early.prepareExit.empty());
    EXPECT_EQ(early.any, "0.0.0.0");
    EXPECT_EQ(early.direction, "in");
    EXPECT_EQ(early.codec, "G.723.1");
    EXPECT_EQ(early.framing, "10");
    EXPECT_EQ(early.imc, IMC_Manager::instance(0xFF));
    EXPECT_EQ(&early.log.level, &DBG_Log().level);
}

} // namespace
