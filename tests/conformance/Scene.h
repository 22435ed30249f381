#ifndef CONFORMANCE_SCENE_H
#define CONFORMANCE_SCENE_H

#include "tests/conformance/Page.h"
#include "tests/unit/MC_ManagerFixture.h"

#include <functional>
#include <initializer_list>
#include <map>
#include <string>

namespace conformance {

/** A client that notes what it hears, and does one thing when it is next called. */
class Listener : public MC_Observer {
public:
    /** @param allHeard what all clients of a cell heard, in order */
    Listener(std::string const& aPrefix, Texts& allHeard) : prefix(aPrefix), heard(allHeard) {}

    void faxToneEvent(MC_Channel* pChannel, MC_FaxTone const& tone) override;
    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const& ack) override;
    void dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) override;
    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const& error) override;

    /** Done, and forgotten, at the next callback. */
    std::function<void(MC_Channel*)> reaction;
    /** The record that goes without saying. */
    MC_Channel const* pUsual = nullptr;

private:
    void hear(MC_Channel* pChannel, std::string const& callback, std::string const& values);

    std::string prefix;
    Texts& heard;
};

/** The record of a cell, its client and its DSP: brings them where the cell begins, and acts. */
class Scene : public mctest::ManagerTest, public testing::WithParamInterface<Cell> {
public:
    Scene();

    /** Brings the record into the cell's state, and what is given into force. */
    void prepare();
    /** Does what the cell says. What the library throws is part of the outcome. */
    void act();

    /** What came of it, in the words of the page; the record is left out where a process ends. */
    std::string observed(bool withRecord);

    /** The same as the page wants it. */
    std::string expected() const;

    /** What an end of the process leaves on standard error. */
    void reportEnd(std::string const& how);

    /** The operations and events of which the page must say what they do in every state. */
    static Texts subjects();
    /** All words that the page may use; what is set, without the number behind it. */
    static Texts words();

protected:
    void TearDown() override;

private:
    /** What describes a record; compared piece by piece. */
    struct Picture {
        std::string standing;
        std::string board;
        std::string ports;
        std::string silence;
        /** What no operation changes. */
        std::string rest;
    };

    /** The values of the next event. */
    struct Event {
        int dsp = 3;
        int board = 0xFA;
        int error = 0;
        int port = 6000;
        int digit = 5;
        int length = -1;
    };

    using Step = std::function<void(Scene&)>;
    using Setting = std::function<void(Scene&, int)>;
    using Steps = std::map<std::string, Step>;

    /** @name The page's words */
    /// @{
    static Steps operations();
    static Steps otherBoards();
    static Steps guards();
    static Steps events();
    static Steps stepsOfTheClient();
    static Steps wrongInput();
    static Steps configuration();
    /** An exception of the client, and of IMC. */
    template <class Exception>
    static void addThrowing(Steps& steps, std::string const& word, Exception const& exception);
    static Steps const& steps();
    /** Those with a number behind them. */
    static std::map<std::string, Setting> const& settings();
    /// @}

    /** Steps with `then` between them. */
    void perform(std::string const& text);
    void performStep(std::string const& step);
    /** Earlier steps, whose refusals are what they are there for. */
    void performEarlier(std::string const& text);
    void actInside();
    void actInCallback();
    void react(MC_Channel* pChannel);
    void actInCommand(std::string const& operation, std::string const& command);
    void actInConstruction(std::string const& lastRegistration);

    void startObserving();
    Picture pictureOf(MC_Channel const& record) const;
    static std::string standing(MC_Channel const& record);
    static std::string changes(Picture const& before, Picture const& now);
    std::string recordText() const;
    std::string otherText() const;
    std::string postsText() const;
    bool isDestroyed() const;

    void raise(std::uint32_t messageIdIn, std::uint32_t messageIdOut, std::uint16_t length,
               std::initializer_list<unsigned char> payload);
    void acknowledge(std::uint32_t messageIdIn, std::uint32_t messageIdOut);
    void type(std::string const& line);
    void timeOut();
    void setBoard(INetAddress const& address);
    void openOther(int otherDirection, int codec = 1);
    void note(std::string const& result) { outcome = "returns " + result; }
    int ownDirection() const { return GetParam().direction == "in" ? 1 : 2; }

    MC_Channel& channel;
    /** What operations are called with: the channel, or null. */
    MC_Channel* pTarget;
    MC_Channel* pOther = nullptr;
    std::size_t records = 1;
    Texts heard;
    Listener client;
    Listener anotherClient;
    Event event;
    Picture before;
    Picture otherBefore;
    /** Where the record's commands go. */
    std::uint8_t dspBefore = 0;
    std::uint8_t sidBefore = 0;
    std::string outcome;
    bool hasEnded = false;
};

} // namespace conformance

#endif
