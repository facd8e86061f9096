// How events and scripts are read, and what is refused.
#include "line_fixture.h"

#include "line/event.h"

#include <gmock/gmock.h>

using namespace ocamp;
using testing::HasSubstr;

namespace {

class Events : public testing::Test {
  protected:
    LineEvent parse(const std::string &words) const { return parse_event(line_, words); }
    std::string refusal(const std::string &words) const {
        try {
            parse_event(line_, words);
        } catch (const InputError &error) {
            return error.what();
        }
        return "no refusal";
    }

    LineDescription line_ = read_line(line_tests::three_sites());
};

TEST_F(Events, SpansAreNamedByTheirEnds) {
    for (const char *words : {"cut site-1/site-2", "  cut   site-2/site-1 "}) {
        const LineEvent event = parse(words);
        EXPECT_EQ(event.kind, LineEvent::Kind::cut);
        EXPECT_EQ(event.span, 1U);
        EXPECT_FALSE(event.direction);
    }
    EXPECT_EQ(parse("repair site-1/site-2 west").direction, DirectionIndex(1));
    const LineEvent loss = parse("add-loss terminal-a/site-1 2.5 east");
    EXPECT_EQ(loss.span, 0U);
    EXPECT_EQ(loss.decibels, 2.5);
    EXPECT_EQ(loss.direction, DirectionIndex(0));
}

TEST_F(Events, CardsAndChannels) {
    const LineEvent pump = parse("pump-failure site-2 0/2-AMP-BST 6");
    EXPECT_EQ(pump.node, 2U);
    EXPECT_EQ(pump.slot, 2U);
    EXPECT_TRUE(pump.booster);
    EXPECT_EQ(pump.decibels, 6);
    EXPECT_FALSE(parse("pump-repair site-2 0/1-AMP-PRE").booster);
    EXPECT_EQ(parse("pull site-3 2").slot, 2U);
    EXPECT_EQ(parse("insert site-3 2").kind, LineEvent::Kind::insert);
    EXPECT_EQ(parse("channels west 48").channels, 48U);
}

TEST_F(Events, EditsOfTheConfiguration) {
    const std::string path = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/target-gain";
    const LineEvent event = parse("set site-2 " + path + " 18.4");
    EXPECT_EQ(event.kind, LineEvent::Kind::set);
    EXPECT_EQ(event.node, 2U);
    EXPECT_EQ(event.path, path);
    EXPECT_EQ(event.value, "18.4");
    EXPECT_THAT(refusal("set site-2 " + path), HasSubstr("expected: set NODE PATH VALUE"));
    EXPECT_THAT(refusal("set site-9 " + path + " 18.4"), HasSubstr("no node 'site-9'"));
    EXPECT_THAT(refusal("set site-2 " + path + " much"), HasSubstr("[invalid-value]"));
    EXPECT_THAT(refusal("set site-2 /optical-amplifier/gain 18.4"), HasSubstr("gain"));
}

TEST_F(Events, WhatIsWrongIsToldWithWhatWasExpected) {
    EXPECT_THAT(refusal(""), HasSubstr("no event '', expected one of: cut, repair"));
    EXPECT_THAT(refusal("burn site-1"), HasSubstr("no event 'burn'"));
    EXPECT_THAT(refusal("cut"), HasSubstr("expected: cut SPAN [DIRECTION]"));
    EXPECT_THAT(refusal("cut site-1/site-2 east west"), HasSubstr("expected: cut SPAN [DIRECTION]"));
    EXPECT_THAT(refusal("cut site-1"), HasSubstr("expected the names of two neighbours"));
    EXPECT_THAT(refusal("cut site-1/site-3"), HasSubstr("no span 'site-1/site-3'"));
    EXPECT_THAT(refusal("cut site-1/site-9"), HasSubstr("no node 'site-9', expected one of: terminal-a"));
    EXPECT_THAT(refusal("cut site-1/site-2 north"), HasSubstr("no direction 'north'"));
    EXPECT_THAT(refusal("add-loss site-1/site-2 much"), HasSubstr("'much' is no loss in dB"));
    EXPECT_THAT(refusal("add-loss site-1/site-2 -1"), HasSubstr("expected a number from 0 to 60"));
    EXPECT_THAT(refusal("add-loss site-1/site-2 nan"), HasSubstr("expected a number from 0 to 60"));
    EXPECT_THAT(refusal("pump-failure site-1 1-PRE 3"), HasSubstr("'1-PRE' is no amplifier"));
    EXPECT_THAT(refusal("pump-failure site-1 0/3-AMP-PRE 3"), HasSubstr("site-1 has no slot 3, expected one of: 1, 2"));
    EXPECT_THAT(refusal("pump-failure site-1 1/1-AMP-PRE 3"), HasSubstr("'1/1-AMP-PRE' is no amplifier"));
    EXPECT_THAT(refusal("pump-failure site-1 0/1-AMP-ROW 3"), HasSubstr("'0/1-AMP-ROW' is no amplifier"));
    EXPECT_THAT(refusal("pump-failure site-1 0/x-AMP-PRE 3"), HasSubstr("'x' is no slot"));
    EXPECT_THAT(refusal("add-loss site-1/site-2 3x"), HasSubstr("'3x' is no loss in dB"));
    EXPECT_THAT(refusal("add-loss site-1/site-2 61"), HasSubstr("expected a number from 0 to 60"));
    EXPECT_THAT(refusal("pull terminal-a 2"), HasSubstr("terminal-a has no slot 2"));
    EXPECT_THAT(refusal("channels east 500"), HasSubstr("expected a number from 0 to 192"));
}

TEST_F(Events, ASlotMayHaveOneAmplifierOnly) {
    const LineDescription line = read_line(line_tests::two_nodes());
    EXPECT_TRUE(parse_event(line, "pump-failure a 0/1-AMP-BST 3").booster);
    for (const auto &[node, amplifier] : {std::pair("a", "0/1-AMP-PRE"), std::pair("b", "0/1-AMP-BST")}) {
        try {
            parse_event(line, std::string("pump-failure ") + node + " " + amplifier + " 3");
            ADD_FAILURE() << amplifier;
        } catch (const InputError &error) {
            EXPECT_EQ(error.what(), std::string(node) + " has no amplifier " + amplifier);
        }
    }
}

TEST_F(Events, EachTakesSoManyWords) {
    EXPECT_EQ(refusal("burn"),
              "no event 'burn', expected one of: cut, repair, add-loss, pump-failure, pump-repair, pull, "
              "insert, channels, set");
    struct Form {
        const char *word, *arguments;
        int least, most;
    };
    for (const Form &form :
         {Form{"cut", "SPAN [DIRECTION]", 1, 2}, Form{"repair", "SPAN [DIRECTION]", 1, 2},
          Form{"add-loss", "SPAN DB [DIRECTION]", 2, 3}, Form{"pump-failure", "NODE AMPLIFIER DB", 3, 3},
          Form{"pump-repair", "NODE AMPLIFIER", 2, 2}, Form{"pull", "NODE SLOT", 2, 2},
          Form{"insert", "NODE SLOT", 2, 2}, Form{"channels", "DIRECTION NUMBER", 2, 2},
          Form{"set", "NODE PATH VALUE", 3, 3}}) {
        std::string event = form.word;
        for (int words = 0; words <= 5; ++words, event += " x") {
            const std::string expected = std::string("expected: ") + form.word + " " + form.arguments;
            EXPECT_EQ(refusal(event) == expected, words < form.least || words > form.most) << event;
        }
    }
}

TEST_F(Events, ScriptsAreReadLineByLine) {
    const auto events =
        parse_script(line_, "# a day\n\n10 cut site-1/site-2\r\n  10 channels east 8\n70 repair site-1/site-2");
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].at, 10U);
    EXPECT_EQ(events[0].words, "cut site-1/site-2");
    EXPECT_EQ(events[1].event.channels, 8U);
    EXPECT_EQ(events[2].at, 70U);
    for (const auto &[script, complaint] :
         {std::pair("10 cut a/b", "line 1: no node 'a'"),
          std::pair("\nsoon cut site-1/site-2", "line 2: 'soon' is no second"),
          std::pair("20 channels east 1\n10 channels east 2", "line 2: second 10 behind second 20")}) {
        try {
            parse_script(line_, script);
            ADD_FAILURE() << script;
        } catch (const InputError &error) {
            EXPECT_THAT(error.what(), HasSubstr(complaint));
        }
    }
}

} // namespace
