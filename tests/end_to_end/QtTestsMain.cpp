#include <gtest/gtest.h>

#include <QCoreApplication>

/// Recording runs on Qt's event loop, so its tests need one.
int main(int argumentCount, char** arguments) {
    const QCoreApplication application(argumentCount, arguments);
    testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
