// The main program of the tests: the agent's root folder is the test's own from the beginning, never the
// machine's.
#include <gmock/gmock.h>

#include "common/KCFolderManager.h"
#include "tests/support/TemporaryFolder.h"

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  const test::TemporaryFolder root;
  SetRootFolder(root.Path().c_str());
  return RUN_ALL_TESTS();
}
