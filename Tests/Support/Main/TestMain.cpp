#include "Support/PrivateHome.h"

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    const tandrel::test::PrivateHome home;
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
