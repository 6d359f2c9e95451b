#include "Services/ConnectionState.h"

#include <gmock/gmock.h>

namespace tandrel {
namespace {

TEST(ConnectionState, IsEqualByCaseAndText) {
    EXPECT_EQ(ConnectionState(), ConnectionState::disconnected());
    EXPECT_EQ(ConnectionState::error("a"), ConnectionState::error("a"));
    EXPECT_NE(ConnectionState::error("a"), ConnectionState::error("b"));
    EXPECT_NE(ConnectionState::error(""), ConnectionState::disconnected());
    EXPECT_NE(ConnectionState::connecting(), ConnectionState::connected());
}

TEST(ConnectionState, OnlyAnErrorHasAText) {
    EXPECT_EQ(*ConnectionState::error("gone").errorMessage(), "gone");
    EXPECT_EQ(ConnectionState::connected().errorMessage(), nullptr);
}

TEST(ConnectionState, RendersCaseAndText) {
    EXPECT_EQ(ConnectionState::disconnected().rendering(), "disconnected");
    EXPECT_EQ(ConnectionState::connecting().rendering(), "connecting");
    EXPECT_EQ(ConnectionState::connected().rendering(), "connected");
    EXPECT_EQ(ConnectionState::error("gone").rendering(), "error(\"gone\")");
}

} // namespace
} // namespace tandrel
