#include <QCoreApplication>

#include "support/UndisturbedRun.h"

/// For tests of what runs on the Qt event loop.
int main(int argumentCount, char** arguments) {
    const QCoreApplication application(argumentCount, arguments);
    return varnelle::test::runTests(argumentCount, arguments);
}
