#pragma once

namespace varnelle::test {

/// Runs the tests as `RUN_ALL_TESTS()` does and returns its result; in place of `InitGoogleTest`, which it
/// calls. With the argument "--undisturbed", for tests that measure in real time, a failure counts only where
/// the processors were there all the while: if one of them was away for more than 10 ms, as on a host that
/// runs other machines as well, the program starts again and the tests have another try. After five of them
/// the result is 77: nothing can be measured here.
int runTests(int argumentCount, char** arguments);

}  // namespace varnelle::test
