// ocamp sysdb on the example node.
#include "ocamp_program.h"

#include <gmock/gmock.h>

using namespace e2e;
using testing::HasSubstr;
using testing::Not;

namespace {

class SysdbCommand : public NodeTest {};

TEST_F(SysdbCommand, ListShowsBindPointAndItem) {
    EXPECT_THAT(ocamp({"sysdb", "list"}).out, HasSubstr("/oper/ots/if/ Ots0_1_0_0/ots_info\n"));
    const std::string narrowed = ocamp({"sysdb", "list"}, {"/oper/inventory/gl/entity/"}).out;
    EXPECT_THAT(narrowed, HasSubstr("/oper/inventory/gl/entity/ 0%2f1-AMP-PRE/attrib/inv_basic_bag\n"));
    EXPECT_THAT(narrowed, Not(HasSubstr("/oper/ots/if/")));
}

TEST_F(SysdbCommand, WhatWasPutIsRead) {
    const std::string record = ocamp({"sysdb", "get"}, {"/oper/ots/if/", "Ots0_1_0_0/ots_info"}).out;
    ASSERT_THAT(record, HasSubstr("\"ReceivePower\""));
    ASSERT_EQ(ocamp({"sysdb", "put"}, {"/oper/ots/if/", "Ots0_9_0_0/ots_info"}, record).status, 0);
    EXPECT_SAME_TEXT(ocamp({"sysdb", "get"}, {"/oper/ots/if/", "Ots0_9_0_0/ots_info"}).out, record);
}

TEST_F(SysdbCommand, RemovingTheInventoryRecordTakesTheAmplifierAway) {
    ASSERT_EQ(ocamp({"sysdb", "rm"}, {"/oper/inventory/gl/entity/", "0%2f1-AMP-BST/attrib/inv_basic_bag"}).status, 0);
    EXPECT_EQ(get({"/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-BST']"}).out, "{}\n");
}

TEST_F(SysdbCommand, WrongUseIsToldWithStatusTwo) {
    const Outcome missing = ocamp({"sysdb", "get"}, {"/oper/ots/if/", "Ots0_9_0_0/ots_info"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_THAT(missing.err, HasSubstr("no item Ots0_9_0_0/ots_info under /oper/ots/if/"));
    EXPECT_EQ(ocamp({"sysdb", "rm"}, {"/oper/ots/if/", "Ots0_9_0_0/ots_info"}).status, 2);
    EXPECT_EQ(ocamp({"sysdb", "get"}, {"oper", "x"}).status, 2);
    const Outcome malformed = ocamp({"sysdb", "put"}, {"/oper/ots/if/", "a"}, "{\"name\": 1}");
    EXPECT_EQ(malformed.status, 2);
    EXPECT_THAT(malformed.err, HasSubstr("standard input: "));
}

} // namespace
