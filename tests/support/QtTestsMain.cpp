#include <gtest/gtest.h>

#include <QCoreApplication>

/// For tests of what runs on the Qt event loop.
int main(int argumentCount, char** arguments) {
    const QCoreApplication application(argumentCount, arguments);
    testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
