#ifndef TESTS_PLATFORM_CLUSTER_TEST_H_
#define TESTS_PLATFORM_CLUSTER_TEST_H_

#include <gtest/gtest.h>

#include <memory>

#include "platform/private_cluster.h"

// Tests of the fixture FIXTURE with a PostgreSQL server of the suite's own. Where none is installed every
// test says SKIPPED; one that is installed and does not start is a failure.
template <typename Fixture>
class OnPrivateCluster : public Fixture {
 protected:
  static void SetUpTestSuite() {
    cluster_ = std::make_unique<PrivateCluster>();
    if (cluster_->Make()) return;
    EXPECT_FALSE(cluster_->installed()) << "the PostgreSQL server that is installed cannot be started";
    cluster_.reset();
  }
  static void TearDownTestSuite() { cluster_.reset(); }

  void SetUp() override {
    if (cluster_ == nullptr) GTEST_SKIP() << "no PostgreSQL server could be started";
    Fixture::SetUp();
  }

  static const PrivateCluster& cluster() { return *cluster_; }

 private:
  static inline std::unique_ptr<PrivateCluster> cluster_;
};

#endif  // TESTS_PLATFORM_CLUSTER_TEST_H_
