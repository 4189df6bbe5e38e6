#include "apps/zelview/Script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "apps/zelview/ViewerError.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

Script parse(const std::string& text) { return parseScript(text, "in.script"); }

/// What is wrong with a script; empty when nothing is.
std::string errorOf(const std::string& text) {
  try {
    parse(text);
    return {};
  } catch (const ViewerError& error) {
    return error.what();
  }
}

TEST(Script, EveryCommandArrives) {
  const Script script = parse(
      "# what a person does\n"
      "\n"
      "0 press 1.5 -2e1\r\n"
      "\t 0.25  move 3 4# no blank before the comment\n"
      ".25 release 5 6\n"
      "1 wheel -2.5 7 8\n"
      "1 pinch 1.25 9 10\n"
      "2 key Left\n"
      "2 key Shift+r\n"
      "2 key ?\n"
      "3 motion 0 0 -0.5 2\n"
      "3 orientation 4\n"
      "3.5 end");
  ASSERT_EQ(script.events.size(), 10U);
  const double times[] = {0, 0.25, 0.25, 1, 1, 2, 2, 2, 3, 3};
  for (size_t i = 0; i < 10; ++i) EXPECT_EQ(script.events[i].time, times[i]) << i;
  const auto action = [&script](size_t i) -> const ScriptedAction& { return script.events[i].action; };

  const UITouchPhase phases[] = {UITouchPhase::Began, UITouchPhase::Moved, UITouchPhase::Ended};
  const CGPoint points[] = {{1.5, -20}, {3, 4}, {5, 6}};
  for (size_t i = 0; i < 3; ++i) {
    const auto& pointer = std::get<ScriptedPointer>(action(i));
    EXPECT_EQ(pointer.phase, phases[i]);
    EXPECT_TRUE(CGPointEqualToPoint(pointer.location, points[i])) << i;
  }
  EXPECT_EQ(std::get<ScriptedWheel>(action(3)).steps, -2.5);
  EXPECT_TRUE(CGPointEqualToPoint(std::get<ScriptedWheel>(action(3)).location, CGPointMake(7, 8)));
  EXPECT_EQ(std::get<ScriptedPinch>(action(4)).factor, 1.25);
  EXPECT_TRUE(CGPointEqualToPoint(std::get<ScriptedPinch>(action(4)).location, CGPointMake(9, 10)));
  EXPECT_EQ(std::get<UIKey>(action(5)).name, "Left");
  EXPECT_FALSE(std::get<UIKey>(action(5)).shift);
  EXPECT_EQ(std::get<UIKey>(action(6)).name, "r");
  EXPECT_TRUE(std::get<UIKey>(action(6)).shift);
  EXPECT_EQ(std::get<UIKey>(action(7)).name, "?");
  const auto& attitude = std::get<CMQuaternion>(action(8));
  EXPECT_EQ(attitude.z, -0.5);
  EXPECT_EQ(attitude.w, 2.0);
  EXPECT_EQ(std::get<UIInterfaceOrientation>(action(9)), UIInterfaceOrientationLandscapeLeft);
  EXPECT_TRUE(script.hasMotion());
  EXPECT_EQ(script.duration, 3.5);
}

TEST(Script, EndsASecondAfterItsLastCommandUnlessItSaysWhen) {
  const Script open = parse("0.5 press 0 0");
  EXPECT_EQ(open.duration, 1.5);
  EXPECT_FALSE(open.hasMotion());
  EXPECT_EQ(parse("0 end").duration, 0.0);
}

struct Bad {
  const char* text;
  /// After the name of the file.
  const char* message;
};

class BadScript : public testing::TestWithParam<Bad> {};

TEST_P(BadScript, IsRefusedByFileAndLineInOneSentence) {
  const std::string error = errorOf(GetParam().text);
  EXPECT_EQ(error, std::string("in.script:") + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadScript,
    testing::ValuesIn(std::vector<Bad>{
        {"", "1: there is no command."},
        {"# nothing\n\n \n", "3: there is no command."},
        {"soon press 1 2", "1: the time is a finite number, not \"soon\"."},
        {"nan end", "1: the time is a finite number, not \"nan\"."},
        {"\n1e999 end", "2: the time is a finite number, not \"1e999\"."},
        {"-0.1 end", "1: the time lies between 0 and 86400, unlike \"-0.1\"."},
        {"1e6 end", "1: the time lies between 0 and 86400, unlike \"1e6\"."},
        {"1 key a\n0.5 key b", "2: the time 0.5 is before that of the command above."},
        {"1 key a\n0.5 end", "2: the time 0.5 is before that of the command above."},
        {"1 end\n\n2 key a", "3: nothing may follow the end."},
        {"1", "1: the command is missing."},
        {"1 # press 1 2", "1: the command is missing."},
        {"1 click 1 2", "1: there is no command \"click\"."},
        {"1 Press 1 2", "1: there is no command \"Press\"."},
        {"1 press", "1: the X is missing."},
        {"1 move 1", "1: the Y is missing."},
        {"1 release 1 2 3", "1: \"3\" is one word too many."},
        {"1 end 2", "1: \"2\" is one word too many."},
        {"1 press 1,5 2", "1: the X is a finite number, not \"1,5\"."},
        {"1 press 1 inf", "1: the Y is a finite number, not \"inf\"."},
        {"1 press 0x10 1", "1: the X is a finite number, not \"0x10\"."},
        {"1 move 1e300 1", "1: the X lies between -1e+06 and 1e+06, unlike \"1e300\"."},
        {"1 wheel up 1 2", "1: the number of steps is a finite number, not \"up\"."},
        {"1 wheel 1e9 1 2", "1: the number of steps lies between -10000 and 10000, unlike \"1e9\"."},
        {"1 pinch 0 1 2", "1: the factor lies between 0.001 and 1000, unlike \"0\"."},
        {"1 pinch -2 1 2", "1: the factor lies between 0.001 and 1000, unlike \"-2\"."},
        {"1 pinch nan 1 2", "1: the factor is a finite number, not \"nan\"."},
        {"1 key", "1: the name of the key is missing."},
        {"1 key left", "1: there is no key \"left\" (but such as a, ?, Left, F11 and Shift+r)."},
        {"1 key R", "1: there is no key \"R\" (but such as a, ?, Left, F11 and Shift+r)."},
        {"1 key Shift+", "1: there is no key \"Shift+\" (but such as a, ?, Left, F11 and Shift+r)."},
        {"1 motion 0 0 0", "1: the W is missing."},
        {"1 motion 0 -0 0 0.0", "1: the rotation is zero."},
        {"1 motion 0 0 -inf 1", "1: the Z is a finite number, not \"-inf\"."},
        {"1 orientation 5", "1: the orientation is 1, 2, 3 or 4, not \"5\"."},
        {"1 orientation 1.0", "1: the orientation is 1, 2, 3 or 4, not \"1.0\"."},
    }));

TEST(Script, MessagesQuoteWhatATerminalCanShow) {
  EXPECT_EQ(errorOf("0 \x1b[2J"), "in.script:1: there is no command \"?[2J\".");
  EXPECT_EQ(errorOf(std::string("0 a\0b", 5)), "in.script:1: there is no command \"a?b\".");
  EXPECT_LT(errorOf("0 " + std::string(100000, 'x')).size(), 100U);
}

TEST(Script, FilesThatCannotBeReadAreOneSentence) {
  const ScratchFolder folder;
  std::ofstream(folder.file("good")) << "0.5 key a\n";
  std::ofstream(folder.file("bad")) << "0.5 key a\n0.5 kei a\n";
  EXPECT_EQ(readScript(folder.file("good")).events.size(), 1U);

  const auto errorOfFile = [](const std::string& path) -> std::string {
    try {
      readScript(path);
      return {};
    } catch (const ViewerError& error) {
      return error.what();
    }
  };
  EXPECT_EQ(errorOfFile(folder.file("bad")), folder.file("bad") + ":2: there is no command \"kei\".");
  EXPECT_THAT(errorOfFile(folder.file("missing")), MatchesRegex("The script .*missing\" cannot be read: [^.\n]+\\."));
  EXPECT_THAT(errorOfFile(folder.file("")), HasSubstr("cannot be read: it is a directory."));
  EXPECT_THAT(errorOfFile("/dev/zero"), HasSubstr("cannot be read: it is larger than 16 MiB."));
}

}  // namespace
}  // namespace zelview
