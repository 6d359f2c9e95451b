#include "Platform/Linux/SystemMicrophonePermission.h"

#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

namespace tandrel {
namespace {

TEST(SystemMicrophonePermission, IsAuthorized) {
    test::ManualMainQueue queue;
    EXPECT_EQ(SystemMicrophonePermission(queue).authorizationStatus(),
              AuthorizationStatus::authorized);
}

TEST(SystemMicrophonePermission, GrantsLaterAndOnce) {
    test::ManualMainQueue queue;
    SystemMicrophonePermission permission(queue);
    testing::MockFunction<void(bool)> completion;
    EXPECT_CALL(completion, Call(testing::_)).Times(0);
    const Handle request = permission.requestAccess(completion.AsStdFunction());
    testing::Mock::VerifyAndClearExpectations(&completion);

    EXPECT_CALL(completion, Call(true)).Times(1);
    queue.drain();
}

TEST(SystemMicrophonePermission, IsSilentOnceTheRequestIsGone) {
    test::ManualMainQueue queue;
    SystemMicrophonePermission permission(queue);
    testing::MockFunction<void(bool)> completion;
    EXPECT_CALL(completion, Call(testing::_)).Times(0);
    permission.requestAccess(completion.AsStdFunction()).reset();
    queue.drain();
}

} // namespace
} // namespace tandrel
