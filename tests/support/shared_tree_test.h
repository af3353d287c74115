#ifndef TESTS_SUPPORT_SHARED_TREE_TEST_H_
#define TESTS_SUPPORT_SHARED_TREE_TEST_H_

#include <string>
#include <type_traits>

#include "platform/cluster_test.h"
#include "support/library_rows.h"

// The real program on a shared tree.
class SharedTreeTest : public OnPrivateCluster<LibraryRowsTest> {
 protected:
  void SetUp() override {
    OnPrivateCluster::SetUp();
    if (!IsSkipped()) UseSharedTree();
  }

  // Everything that the tree holds, as lines that can be compared.
  std::string Export() {
    const RunResult result = Run({"export", "--shared"});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
};

// For typed tests of the real program on either kind of library.
using BothKinds = testing::Types<LibraryRowsTest, SharedTreeTest>;
class KindNames {
 public:
  template <typename Kind>
  static std::string GetName(int) {
    return std::is_same_v<Kind, LibraryRowsTest> ? "Personal" : "Shared";
  }
};

#endif  // TESTS_SUPPORT_SHARED_TREE_TEST_H_
