#include "host/bus/BusKeys.h"

#include "BusFixture.h"

#include <sys/stat.h>

#include <fstream>

namespace {

using host::BusKeys;

class Keys : public testing::Test {
protected:
    TemporaryDirectory above;
    std::string const mine = above.path() + "/mine";
    std::string const yours = above.path() + "/yours";

    std::string faultOf(std::string const& directory) {
        return failureOf<std::runtime_error>([&] { BusKeys const bad(directory); });
    }
    static void allow(std::string const& from, std::string const& in, std::string const& name) {
        std::filesystem::copy_file(from + "/public.key", in + "/peers/" + name + ".pub");
    }
};

TEST_F(Keys, AreMadeAndReadAgain) {
    std::string const key = BusKeys::make(mine);
    BusKeys const keys(mine);
    EXPECT_EQ(key.size(), 40U);
    EXPECT_EQ(keys.publicKey(), key);
    EXPECT_EQ(keys.secretKey().size(), 40U);
    EXPECT_NE(keys.secretKey(), key);
    EXPECT_NE(BusKeys::make(yours), key);
    struct stat found {};
    ASSERT_EQ(stat((mine + "/secret.key").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
    ASSERT_EQ(stat(mine.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0700U);
}

TEST_F(Keys, AreNeverReplaced) {
    std::string const key = BusKeys::make(mine);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { BusKeys::make(mine); }),
              "can't make " + mine + "/secret.key: File exists");
    EXPECT_EQ(BusKeys(mine).publicKey(), key);
}

TEST_F(Keys, AreRefusedWhenOthersMayReadThem) {
    BusKeys::make(mine);
    for (mode_t const mode : {0640U, 0604U, 0620U}) {
        chmod((mine + "/secret.key").c_str(), mode);
        EXPECT_NE(faultOf(mine).find("nobody else may read (mode 0600)"), std::string::npos);
    }
}

TEST_F(Keys, AreRefusedWhenOthersMayAddSome) {
    BusKeys::make(mine);
    for (std::string const& path : {mine, mine + "/peers"}) {
        for (mode_t const mode : {0720U, 0702U}) {
            chmod(path.c_str(), mode);
            EXPECT_EQ(faultOf(mine), path + " says who may talk to this process: it has to be a "
                                            "directory of yours that nobody else may change");
        }
        chmod(path.c_str(), 0755U);
    }
    EXPECT_EQ(BusKeys(mine).secretKey().size(), 40U);
}

TEST_F(Keys, AreRefusedWhenTheyAreNone) {
    EXPECT_EQ(faultOf(mine), "can't read " + mine + "/secret.key: No such file or directory");
    BusKeys::make(mine);
    std::ofstream(mine + "/peers/bad.pub") << "too short\n";
    EXPECT_EQ(faultOf(mine), mine + "/peers/bad.pub holds no key of 40 characters");
    std::ofstream(mine + "/secret.key") << std::string(40, '"') << "\n";
    EXPECT_EQ(faultOf(mine), mine + "/secret.key holds no key of 40 characters");
}

TEST_F(Keys, ThoseOfPeersAreAllowed) {
    BusKeys::make(mine);
    std::string const key = BusKeys::make(yours);
    EXPECT_FALSE(BusKeys(mine).isAllowed(key));
    EXPECT_FALSE(BusKeys(mine).isAllowed(""));
    allow(yours, mine, "you");
    EXPECT_TRUE(BusKeys(mine).isAllowed(key));
    EXPECT_EQ(BusKeys(mine).peer(""), key);
    EXPECT_EQ(BusKeys(mine).peer("you"), key);
}

TEST_F(Keys, ThoseOfPeersAreNamedWhereThereAreSeveral) {
    BusKeys::make(mine);
    EXPECT_NE(failureOf<std::invalid_argument>([&] {
                  BusKeys(mine).peer("");
              }).find("there are 0 keys in " + mine + "/peers"),
              std::string::npos);
    BusKeys::make(yours);
    allow(yours, mine, "you");
    allow(mine, mine, "me");
    EXPECT_THROW(BusKeys(mine).peer(""), std::invalid_argument);
    EXPECT_EQ(BusKeys(mine).peer("me"), BusKeys(mine).publicKey());
    EXPECT_EQ(failureOf<std::invalid_argument>([&] { BusKeys(mine).peer("him"); }),
              "there is no key " + mine + "/peers/him.pub");
}

} // namespace
