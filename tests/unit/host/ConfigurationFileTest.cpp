#include "Fixture.h"

#include "address/IPAddress.h"
#include "config/CFG_Manager.h"
#include "config/CFG_Store.h"
#include "debug/DBG_NoteworthyValueMgr.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

class ConfigurationFile : public HostTest {
protected:
    ConfigurationFile()
        : directory(std::filesystem::temp_directory_path() /
                    ("mc_host_" + std::to_string(getpid()))),
          path(directory / "gw.toml"),
          changes([this](imc_msg const& message) { announced.push_back(message); }) {
        std::filesystem::remove_all(directory);
        std::filesystem::create_directory(directory);
        imc().registration(&changes, 600);
    }
    ~ConfigurationFile() override {
        imc().unregistration(&changes, 600);
        std::filesystem::remove_all(directory);
    }

    void write(std::string const& text) const { std::ofstream(path) << text; }

    static std::string fax(std::string const& protocol) {
        return "[current.gw_priv]\nfax_proto = \"" + protocol + "\"\n";
    }

    /** The fax transport that the store holds; empty when it holds none. */
    static std::string storedFax() {
        char text[64] = "";
        int count = 1;
        return get("/current//gw_priv", "fax_proto", text, CFG_TYPE_TEXT, &count) == 0 ? text : "";
    }

    /** Loads the file and delivers its message. */
    void load() {
        workstation.loadConfiguration(path.string());
        workstation.dispatcher().runReady();
        announced.clear();
    }

    bool runUntil(std::function<bool()> const& done) {
        return workstation.dispatcher().runUntil(done, patience);
    }

    std::filesystem::path const directory;
    std::filesystem::path const path;
    ScriptedObserver changes;
    std::vector<imc_msg> announced;
};

TEST_F(ConfigurationFile, ALoadedFileIsInForceAtOnceAndAnnouncedOnTheLoop) {
    write(fax("tcp") + "[current.gateway]\nrtptick_request = 3\n[boards]\n\"10.0.0.1\" = 0x80\n"
                       "[interfaces]\nvoicelan = \"10.0.0.1\"\n[noteworthy]\n5 = 1\n");
    workstation.loadConfiguration(path.string());
    EXPECT_EQ(storedFax(), "tcp");
    unsigned char tick = 0;
    int count = 1;
    EXPECT_EQ(get("/current//gateway", "rtptick_request", &tick, CFG_TYPE_BYTE, &count), 0);
    EXPECT_EQ(tick, 3);
    EXPECT_TRUE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    EXPECT_EQ(imc().getSid(12, IPAddress("10.0.0.1")), 0x80);
    EXPECT_EQ(IPAddress::GetAddress("voicelan").GetValue(), 0x0A000001U);
    unsigned char value = 0;
    EXPECT_TRUE(DBG_NoteworthyValueMgr::instance()->getValue(5, &value, 1));
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(announced.empty());
    workstation.dispatcher().runReady();
    ASSERT_EQ(announced.size(), 1U);
    EXPECT_EQ(announced[0].messageId, 600U);
    EXPECT_EQ(announced[0].length, 0U);
    EXPECT_EQ(announced[0].destinationSid, workstation.sid());
}

TEST_F(ConfigurationFile, ABadFileIsRefusedAndTheLastGoodValuesStay) {
    write(fax("tcp"));
    load();
    write("[current.gw_priv]\nfax_proto = 1\n");
    EXPECT_EQ(failureOf<std::runtime_error>([&] { workstation.loadConfiguration(path.string()); }),
              path.string() + ":2:13: expected a text");
    EXPECT_EQ(storedFax(), "tcp");
    workstation.dispatcher().runReady();
    EXPECT_TRUE(announced.empty());
    EXPECT_EQ(counted("configuration.refused"), 1U);
}

TEST_F(ConfigurationFile, AFileThatIsMissingIsRefusedByName) {
    EXPECT_EQ(failureOf<std::runtime_error>([&] { workstation.loadConfiguration(path.string()); }),
              path.string() + ": can't be read: No such file or directory");
}

TEST_F(ConfigurationFile, AFileWithoutANameIsRefusedAndCounted) {
    std::string const text =
        failureOf<std::runtime_error>([&] { workstation.loadConfiguration(""); });
    EXPECT_EQ(text.substr(0, text.rfind(": ")), "\"\": can't be read");
    EXPECT_EQ(counted("configuration.refused"), 1U);
}

TEST_F(ConfigurationFile, AFileOfADirectoryThatIsGoneIsRefusedByNameAndCounted) {
    std::filesystem::path const before = std::filesystem::current_path();
    std::filesystem::path const gone = directory / "gone";
    std::filesystem::create_directory(gone);
    std::filesystem::current_path(gone);
    std::filesystem::remove(gone);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { workstation.loadConfiguration("gw.toml"); }),
              "gw.toml: can't be read: No such file or directory");
    std::filesystem::current_path(before);
    EXPECT_EQ(counted("configuration.refused"), 1U);
}

TEST_F(ConfigurationFile, ABoardOnTheAddressThatThisProcessHasIsRefused) {
    write("[boards]\n\"10.0.0.1\" = 0x90\n");
    load();
    workstation.setSid(0x90);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { workstation.loadConfiguration(path.string()); }),
              path.string() + ":2:14: 0x90 is this process's own IMC address");
    EXPECT_EQ(counted("configuration.refused"), 1U);
}

TEST_F(ConfigurationFile, AnythingButARegularFileIsRefused) {
    EXPECT_EQ(
        failureOf<std::runtime_error>([&] { workstation.loadConfiguration(directory.string()); }),
        directory.string() + ": can't be read: it is no regular file");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { workstation.loadConfiguration(path.string()); }),
              path.string() + ": can't be read: it is no regular file");
}

TEST_F(ConfigurationFile, AChangeIsReadAgainAndAnnounced) {
    write(fax("tcp"));
    load();
    write(fax("udp"));
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    EXPECT_EQ(announced[0].messageId, 600U);
    EXPECT_EQ(storedFax(), "udp");
}

TEST_F(ConfigurationFile, AFileThatIsPutInItsPlaceIsAChange) {
    write(fax("tcp"));
    load();
    std::filesystem::path const other = directory / "new.toml";
    std::ofstream(other) << fax("udp");
    std::filesystem::rename(other, path);
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    EXPECT_EQ(storedFax(), "udp");
}

TEST_F(ConfigurationFile, AChangeIsFollowedAfterTheProcessLeftTheDirectory) {
    std::filesystem::path const before = std::filesystem::current_path();
    write(fax("tcp"));
    std::filesystem::current_path(directory);
    workstation.loadConfiguration("gw.toml");
    std::filesystem::current_path(before);
    workstation.dispatcher().runReady();
    announced.clear();
    write(fax("udp"));
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    EXPECT_EQ(storedFax(), "udp");
}

TEST_F(ConfigurationFile, ABadChangeIsLoggedOnceAndNotAnnounced) {
    write(fax("tcp"));
    load();
    write("[current.gw_priv]\nfax_proto = 1\n");
    EXPECT_TRUE(runUntil([&] { return !lines.empty(); }));
    EXPECT_TRUE(lines[0].isError);
    EXPECT_EQ(lines[0].text, "changed configuration refused, the values before stay");
    EXPECT_EQ(lines[0].detail, path.string() + ":2:13: expected a text");
    EXPECT_EQ(storedFax(), "tcp");
    EXPECT_TRUE(announced.empty());
    write(fax("udp"));
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    EXPECT_EQ(storedFax(), "udp");
    EXPECT_EQ(lines.size(), 1U);
    EXPECT_EQ(counted("configuration.refused"), 1U);
}

TEST_F(ConfigurationFile, AFileThatGoesAwayLeavesItsValuesAndIsTakenWhenItIsBack) {
    write(fax("tcp"));
    load();
    std::filesystem::remove(path);
    EXPECT_TRUE(runUntil([&] { return !lines.empty(); }));
    EXPECT_EQ(lines[0].detail, path.string() + ": can't be read: No such file or directory");
    EXPECT_EQ(storedFax(), "tcp");
    write(fax("udp"));
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    EXPECT_EQ(storedFax(), "udp");
}

TEST_F(ConfigurationFile, AFileThatIsRefusedDoesNotTakeThePlaceOfTheWatchedOne) {
    write(fax("tcp"));
    load();
    EXPECT_THROW(workstation.loadConfiguration(directory.string()), std::runtime_error);
    write(fax("udp"));
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    EXPECT_EQ(storedFax(), "udp");
}

TEST_F(ConfigurationFile, OnlyTheFileThatWasLoadedLastIsWatched) {
    write(fax("tcp"));
    load();
    std::filesystem::path const other = directory / "other.toml";
    std::ofstream(other) << fax("first");
    workstation.loadConfiguration(other.string());
    workstation.dispatcher().runReady();
    announced.clear();
    write(fax("udp"));
    std::ofstream(other) << fax("second");
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    EXPECT_EQ(storedFax(), "second");
    EXPECT_EQ(announced.size(), 1U);
}

TEST_F(ConfigurationFile, AFileReplacesWhatTheFileBeforeGaveAndNothingElse) {
    write(fax("tcp") + "[boards]\n\"10.0.0.1\" = 3\n[interfaces]\nvoicelan = \"10.0.0.1\"\n"
                       "[noteworthy]\n5 = 1\n");
    load();
    workstation.setConfiguration("/current//gateway", "rtptick_request", std::uint8_t{9});
    workstation.setBoard("10.0.0.2", 2);
    workstation.setNoteworthyValue(6, 1);
    write("");
    load();
    EXPECT_EQ(storedFax(), "");
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    EXPECT_TRUE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.2")));
    EXPECT_EQ(IPAddress::GetAddress("voicelan").GetValue(), 0U);
    unsigned char value = 0;
    EXPECT_FALSE(DBG_NoteworthyValueMgr::instance()->getValue(5, &value, 1));
    EXPECT_TRUE(DBG_NoteworthyValueMgr::instance()->getValue(6, &value, 1));
    int count = 1;
    EXPECT_EQ(get("/current//gateway", "rtptick_request", &value, CFG_TYPE_BYTE, &count), 0);
    EXPECT_EQ(value, 9);
}

TEST_F(ConfigurationFile, WhatTheProgramSetStaysWhateverTheFileSaysOfIt) {
    std::string const all = "[boards]\n\"10.0.0.1\" = 0x80\n[interfaces]\nvoicelan = "
                            "\"10.0.0.1\"\n[noteworthy]\n5 = 1\n";
    auto const expectTheProgramsValues = [&](std::string const& when) {
        EXPECT_EQ(storedFax(), "prog") << when;
        EXPECT_EQ(imc().getSid(12, IPAddress("10.0.0.1")), 0x90) << when;
        EXPECT_EQ(imc().getStringSid(0x80), "sid(0x80)") << when;
        EXPECT_EQ(imc().getStringSid(0x90), "board(0x90)") << when;
        EXPECT_EQ(std::string(IPAddress::GetAddress("voicelan")), "10.0.0.9") << when;
        unsigned char value = 0;
        EXPECT_TRUE(DBG_NoteworthyValueMgr::instance()->getValue(5, &value, 1)) << when;
        EXPECT_EQ(value, 9) << when;
    };
    write(fax("new") + all);
    load();
    workstation.setConfiguration("/current//gw_priv", "fax_proto", "prog");
    workstation.setBoard("10.0.0.1", 0x90);
    workstation.setInterface("voicelan", "10.0.0.9");
    workstation.setNoteworthyValue(5, 9);
    expectTheProgramsValues("set over the file's");
    write(fax("newer") + all);
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    expectTheProgramsValues("the file changed");
    announced.clear();
    write("");
    EXPECT_TRUE(runUntil([&] { return !announced.empty(); }));
    expectTheProgramsValues("the file is empty");
}

TEST_F(ConfigurationFile, WhatTheProgramRemovesIsGoneUntilTheFileGivesItAgain) {
    write(fax("tcp") + "[boards]\n\"10.0.0.1\" = 0x80\n[noteworthy]\n5 = 1\n");
    load();
    workstation.setConfiguration("/current//gw_priv", "fax_proto", "prog");
    workstation.removeConfiguration("/current//gw_priv", "fax_proto");
    workstation.clearBoards();
    workstation.removeNoteworthyValue(5);
    unsigned char value = 0;
    EXPECT_EQ(storedFax(), "");
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    EXPECT_FALSE(DBG_NoteworthyValueMgr::instance()->getValue(5, &value, 1));
    load();
    EXPECT_EQ(storedFax(), "tcp");
    EXPECT_TRUE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    EXPECT_TRUE(DBG_NoteworthyValueMgr::instance()->getValue(5, &value, 1));
}

TEST_F(ConfigurationFile, ValuesThatTheProgramSetsAreNotAnnounced) {
    workstation.setConfiguration("/current//gw_priv", "fax_proto", "udp");
    EXPECT_EQ(storedFax(), "udp");
    workstation.removeConfiguration("/current//gw_priv", "fax_proto");
    EXPECT_EQ(storedFax(), "");
    workstation.dispatcher().runReady();
    EXPECT_TRUE(announced.empty());
    workstation.announceConfiguration();
    EXPECT_TRUE(announced.empty());
    workstation.dispatcher().runReady();
    EXPECT_EQ(announced.size(), 1U);
}

} // namespace
