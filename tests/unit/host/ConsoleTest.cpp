#include "Fixture.h"

#include <memory>
#include <stdexcept>

namespace {

class Console : public HostTest {
protected:
    host::Workstation::Answer keepIn(std::vector<std::string>& answers) {
        return [&answers](std::string const& text) { answers.push_back(text); };
    }

    /** Types a line and returns its answers. */
    std::vector<std::string> answersTo(std::string const& line) {
        std::vector<std::string> answers;
        workstation.typeCommand(line, 1, keepIn(answers));
        workstation.dispatcher().runReady();
        return answers;
    }

    using Texts = std::vector<std::string>;
};

TEST_F(Console, TheLineAndTheConsolesNumberReachTheObserverOfItsFirstWord) {
    Texts seen;
    ScriptedCommand command([&](std::string const& text, int console) {
        seen.push_back(std::to_string(console) + ":" + text);
    });
    imc().registration(&command, "MC");
    workstation.typeCommand("  MC Dsp All ", 7, nullptr);
    workstation.typeCommand("MC", 8, nullptr);
    workstation.typeCommand("\tMC\tx", 9, nullptr);
    EXPECT_TRUE(seen.empty());
    workstation.dispatcher().runReady();
    EXPECT_EQ(seen, (Texts{"7:  MC Dsp All ", "8:MC", "9:\tMC\tx"}));
    imc().unregistration(&command, "MC");
}

TEST_F(Console, AWordThatOnlyBeginsLikeARegisteredOneIsNotDelivered) {
    ScriptedCommand command([&](std::string const&, int) { imc().answerCommand("seen"); });
    imc().registration(&command, "MC");
    EXPECT_EQ(answersTo("MCX"), Texts{"Unknown command \"MCX\", try \"help\"\n"});
    EXPECT_EQ(answersTo("mc"), Texts{"Unknown command \"mc\", try \"help\"\n"});
    EXPECT_EQ(answersTo("MC"), Texts{"seen"});
    EXPECT_EQ(counted("console.command_without_observer"), 2U);
    imc().unregistration(&command, "MC");
}

TEST_F(Console, AnEmptyLineIsAnsweredToo) {
    EXPECT_EQ(answersTo(""), Texts{"Unknown command \"\", try \"help\"\n"});
    EXPECT_EQ(answersTo(" \t"), Texts{"Unknown command \"\", try \"help\"\n"});
}

TEST_F(Console, EveryObserverOfTheWordAnswersInTheOrderOfRegistration) {
    ScriptedCommand first([&](std::string const&, int) { imc().answerCommand("first"); });
    ScriptedCommand second([&](std::string const&, int) { imc().answerCommand("second"); });
    imc().registration(&second, "help");
    imc().registration(&first, "help");
    EXPECT_EQ(answersTo("help"), (Texts{"second", "first"}));
    imc().unregistration(&first, "help");
    imc().unregistration(&second, "help");
}

TEST_F(Console, AnswersGoToTheConsoleThatAsked) {
    ScriptedCommand command(
        [&](std::string const& text, int) { imc().answerCommand("to " + text); });
    imc().registration(&command, "MC");
    Texts one;
    Texts two;
    workstation.typeCommand("MC 1", 1, keepIn(one));
    workstation.typeCommand("MC 2", 2, keepIn(two));
    workstation.typeCommand("MC 3", 1, keepIn(one));
    workstation.dispatcher().runReady();
    EXPECT_EQ(one, (Texts{"to MC 1", "to MC 3"}));
    EXPECT_EQ(two, Texts{"to MC 2"});
    imc().unregistration(&command, "MC");
}

TEST_F(Console, AnAnswerKeepsItsNulCharacters) {
    std::string const text("a\0b\0", 4);
    ScriptedCommand command([&](std::string const&, int) { imc().answerCommand(text); });
    imc().registration(&command, "MC");
    EXPECT_EQ(answersTo("MC"), Texts{text});
    imc().unregistration(&command, "MC");
}

TEST_F(Console, AnAnswerWithoutConsoleIsLoggedAndCounted) {
    imc().answerCommand("lost");
    EXPECT_EQ(counted("console.answer_without_console"), 1U);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].isError);
    EXPECT_EQ(lines[0].detail, "lost");
}

TEST_F(Console, NoConsoleIsLeftBehindByACommand) {
    ScriptedCommand command([](std::string const&, int) { throw std::runtime_error("broken"); });
    imc().registration(&command, "MC");
    EXPECT_EQ(answersTo("MC"), Texts{});
    EXPECT_EQ(counted("imc.observer_exception"), 1U);
    imc().answerCommand("late");
    EXPECT_EQ(counted("console.answer_without_console"), 1U);
    imc().unregistration(&command, "MC");
}

TEST_F(Console, AConsoleThatThrowsDoesNotReachTheObserver) {
    bool went = false;
    ScriptedCommand command([&](std::string const&, int) {
        imc().answerCommand("x");
        went = true;
    });
    imc().registration(&command, "MC");
    workstation.typeCommand("MC", 1, [](std::string const&) { throw std::runtime_error("gone"); });
    workstation.dispatcher().runReady();
    EXPECT_TRUE(went);
    EXPECT_EQ(counted("console.answer_refused"), 1U);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].detail, "gone");
    imc().unregistration(&command, "MC");
}

TEST_F(Console, AnObserverMayLeaveDuringItsCommand) {
    auto first = std::make_unique<ScriptedCommand>([](std::string const&, int) {});
    auto second = std::make_unique<ScriptedCommand>(
        [&](std::string const&, int) { imc().answerCommand("second"); });
    first = std::make_unique<ScriptedCommand>([&](std::string const&, int) {
        imc().answerCommand("first");
        imc().unregistration(second.get(), "MC");
        second.reset();
        imc().unregistration(first.get(), "MC");
    });
    imc().registration(first.get(), "MC");
    imc().registration(second.get(), "MC");
    EXPECT_EQ(answersTo("MC"), Texts{"first"});
    EXPECT_EQ(answersTo("MC"), Texts{"Unknown command \"MC\", try \"help\"\n"});
}

TEST_F(Console, RefusalsNameTheWord) {
    ScriptedCommand command([](std::string const&, int) {});
    IMC_CommandObserver* const none = nullptr;
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().registration(none, "MC"); }),
              "IMC registration of a null observer for command \"MC\"");
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().registration(&command, ""); }),
              "IMC registration for a command without a word");
    for (std::string const blank : {" ", "\t", "\r", "\n"}) {
        std::string const word = "MC" + blank + "Dsp";
        EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().registration(&command, word); }),
                  "IMC registration for command \"" + word +
                      "\", which holds a blank: no line of a console has it as its first word");
    }
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().unregistration(&command, "MC"); }),
              "IMC observer is not registered for command \"MC\"");
    imc().registration(&command, "MC");
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().registration(&command, "MC"); }),
              "IMC observer is registered already for command \"MC\"");
    imc().unregistration(&command, "MC");
}

TEST_F(Console, ThePrepareExitCommandIsOneWordThatIsTypedLikeAnyOther) {
    EXPECT_EQ(IMC_Manager::prepExitCmd.find_first_of(" \t\r\n"), std::string::npos);
    EXPECT_FALSE(IMC_Manager::prepExitCmd.empty());
    ScriptedCommand command([&](std::string const& text, int) { imc().answerCommand(text); });
    imc().registration(&command, IMC_Manager::prepExitCmd);
    EXPECT_EQ(answersTo(IMC_Manager::prepExitCmd), Texts{IMC_Manager::prepExitCmd});
    imc().unregistration(&command, IMC_Manager::prepExitCmd);
}

} // namespace
