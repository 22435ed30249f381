#include "host/bus/BusDirectory.h"

#include "BusFixture.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

namespace {

using host::BusDirectory;
using host::BusHolder;
using host::LockFile;

BusHolder const me = {"mcgw dsp", 1234};

std::string modeOf(std::string const& path) {
    struct stat found {};
    EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
    char text[8];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(found.st_mode & 07777U));
    return text;
}

/** Runs the action in a process that is then killed. */
template <class Action>
void inAKilledProcess(Action action) {
    pid_t const child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        action();
        kill(getpid(), SIGKILL);
        _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
}

class Directory : public testing::Test {
protected:
    TemporaryDirectory above;
    std::string const path = above.path() + "/bus";
};

TEST_F(Directory, IsMadeForItsOwnerAloneWhateverTheUmask) {
    mode_t const before = umask(0);
    BusDirectory const directory(path);
    umask(before);
    EXPECT_EQ(modeOf(path), "0700");
}

TEST_F(Directory, IsRefusedWhenOthersMayEnter) {
    mkdir(path.c_str(), 0700);
    for (mode_t const mode : {0701U, 0710U, 0755U, 0720U}) {
        chmod(path.c_str(), mode);
        EXPECT_EQ(failureOf<std::runtime_error>([&] { BusDirectory const bad(path); }),
                  "others may enter the bus directory " + path + ": its mode has to be 0700");
    }
}

TEST_F(Directory, IsRefusedWhenAnotherUserOwnsIt) {
    // A user other than root finds one of root's; root makes one of another's.
    std::string foreign = "/usr";
    if (geteuid() == 0) {
        foreign = path;
        mkdir(path.c_str(), 0700);
        ASSERT_EQ(chown(path.c_str(), 1, 1), 0);
    }
    EXPECT_EQ(failureOf<std::runtime_error>([&] { BusDirectory const bad(foreign); }),
              "the bus directory " + foreign + " belongs to another user");
}

TEST_F(Directory, IsNeitherAFileNorALink) {
    std::ofstream(path) << "";
    EXPECT_EQ(failureOf<std::runtime_error>([&] { BusDirectory const bad(path); }),
              "the bus directory " + path + " is no directory");
    unlink(path.c_str());
    ASSERT_EQ(symlink(above.path().c_str(), path.c_str()), 0);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { BusDirectory const bad(path); }),
              "the bus directory " + path + " is no directory");
}

TEST_F(Directory, IsNotMadeWithThoseAboveIt) {
    EXPECT_NE(failureOf<std::runtime_error>([&] {
                  BusDirectory const bad(path + "/a/b");
              }).find("can't make the bus directory"),
              std::string::npos);
}

TEST_F(Directory, HasANameThatLeavesRoomForSockets) {
    std::string const good = above.path() + "/" + std::string(72 - above.path().size() - 1, 'd');
    BusDirectory const fits(good);
    auto const place = fits.enter({"x", 4194304}, UINT64_MAX);
    EXPECT_LE(place->socket().size(), 107U);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { BusDirectory const bad(good + "d"); }),
              "the name of the bus directory " + good +
                  "d is too long: it has 73 characters, and may have 72");
}

TEST_F(Directory, LocksAnAddressForOneHolderAndNamesIt) {
    BusDirectory const directory(path);
    {
        LockFile const held = directory.claim(0x10, me);
        EXPECT_EQ(modeOf(path + "/sid-10.lock"), "0600");
        EXPECT_EQ(failureOf<std::runtime_error>([&] {
                      directory.claim(0x10, {"other", 7});
                  }),
                  "IMC address 0x10 is served already by mcgw dsp, process 1234");
        EXPECT_EQ(directory.holderOf(0x10), me);
        EXPECT_FALSE(directory.holderOf(0xFA));
    }
    EXPECT_FALSE(directory.holderOf(0x10));
    EXPECT_FALSE(std::filesystem::exists(path + "/sid-10.lock"));
    LockFile const again = directory.claim(0x10, {"other", 7});
    EXPECT_EQ(directory.holderOf(0x10), (BusHolder{"other", 7}));
}

TEST_F(Directory, LookingAtALockDoesNotTakeIt) {
    BusDirectory const directory(path);
    std::ofstream(path + "/sid-10.lock") << "left over\n1\n";
    EXPECT_FALSE(directory.holderOf(0x10));
    EXPECT_NO_THROW(directory.claim(0x10, me));
}

TEST_F(Directory, WhatAKilledProcessHeldIsTakenOver) {
    BusDirectory const directory(path);
    inAKilledProcess([&] {
        new LockFile(directory.claim(0x10, me));
        auto const place = directory.enter(me, 5).release();
        std::ofstream(place->socket()) << "";
    });
    EXPECT_TRUE(std::filesystem::exists(path + "/sid-10.lock"));
    EXPECT_FALSE(directory.holderOf(0x10));
    LockFile const taken = directory.claim(0x10, {"next", 8});
    EXPECT_EQ(directory.holderOf(0x10), (BusHolder{"next", 8}));

    EXPECT_TRUE(std::filesystem::exists(path + "/node-1234-0000000000000005.sock"));
    EXPECT_TRUE(directory.endpoints().empty());
    EXPECT_FALSE(std::filesystem::exists(path + "/node-1234-0000000000000005.sock"));
    EXPECT_FALSE(std::filesystem::exists(path + "/node-1234-0000000000000005.lock"));
}

TEST_F(Directory, ListsTheLivingNodes) {
    BusDirectory const directory(path);
    {
        auto const place = directory.enter(me, 0xAB);
        EXPECT_EQ(place->endpoint(), "ipc://" + path + "/node-1234-00000000000000ab.sock");
        EXPECT_EQ(directory.endpoints(), std::vector<std::string>{place->endpoint()});
        EXPECT_TRUE(directory.contains(place->endpoint()));
    }
    EXPECT_TRUE(directory.endpoints().empty());
    EXPECT_TRUE(std::filesystem::is_empty(path));
}

TEST_F(Directory, KnowsWhatIsOutside) {
    BusDirectory const directory(path);
    EXPECT_FALSE(directory.contains("ipc:///etc/node-1.sock"));
    EXPECT_FALSE(directory.contains("ipc://" + path + "/node-/../../x"));
    EXPECT_FALSE(directory.contains("tcp://127.0.0.1:1"));
}

} // namespace
