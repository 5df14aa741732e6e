#include "support/UndisturbedRun.h"

/// For tests that bring no `main` of their own.
int main(int argumentCount, char** arguments) {
    return varnelle::test::runTests(argumentCount, arguments);
}
