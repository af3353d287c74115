#ifndef TESTS_SUPPORT_SHARED_TREE_TEST_H_
#define TESTS_SUPPORT_SHARED_TREE_TEST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/private_cluster.h"
#include "support/library_rows.h"

// The real program on a shared tree, with a PostgreSQL server of the suite's own. Without one every test says
// SKIPPED.
class SharedTreeTest : public LibraryRowsTest {
 protected:
  static void SetUpTestSuite() {
    cluster_ = std::make_unique<PrivateCluster>();
    if (!cluster_->Make()) cluster_.reset();
  }
  static void TearDownTestSuite() { cluster_.reset(); }

  void SetUp() override {
    if (cluster_ == nullptr) GTEST_SKIP() << "no PostgreSQL server could be started";
    UseSharedTree();
  }

  static const PrivateCluster& cluster() { return *cluster_; }

  // Everything that the tree holds, as lines that can be compared.
  std::string Export() {
    const RunResult result = Run({"export", "--shared"});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

 private:
  static inline std::unique_ptr<PrivateCluster> cluster_;
};

#endif  // TESTS_SUPPORT_SHARED_TREE_TEST_H_
