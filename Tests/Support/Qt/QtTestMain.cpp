#include "Support/PrivateHome.h"
#include "Support/Qt/ExpectedWarnings.h"

#include <QCoreApplication>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    const tandrel::test::PrivateHome home;
    const QCoreApplication application(argc, argv);
    tandrel::test::failOnUnexpectedWarnings();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
