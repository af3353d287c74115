// Tests that run for a request of the shared tree and again for one of a personal folder: what a failure
// leaves open differs between them.
#ifndef TESTS_SUPPORT_BOTH_REQUESTS_H_
#define TESTS_SUPPORT_BOTH_REQUESTS_H_

#include <string>

#include "support/fake_library.h"

// FIXTURE is one of the substitutes' library (fake_library.h).
//
//   using SaveFailureTest = OnBothRequests<SaveTest>;
//   TEST_P(SaveFailureTest, ...) { ... }
//   INSTANTIATE_TEST_SUITE_P(Requests, SaveFailureTest, BothRequests(), RequestName);
template <typename Fixture>
class OnBothRequests : public Fixture, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    Fixture::SetUp();
    if (IsPersonal()) Fixture::UsePersonal();
  }
  // Statements are built for the engine of the request alone.
  void TearDown() override {
    const std::string other_engine = IsPersonal() ? "(1," : "(0,";
    EXPECT_EQ(Fixture::fake().Count("KAVODBEscapeStringEX3" + other_engine), 0);
    EXPECT_EQ(Fixture::fake().Count("EscapeConditionEX2" + other_engine), 0);
    Fixture::TearDown();
  }

  static bool IsPersonal() { return testing::WithParamInterface<bool>::GetParam(); }
  // An absolute path below the photo root, and its key in the database.
  std::string Path(const std::string& relative) const {
    return (IsPersonal() ? Fixture::personal() : Fixture::shared()) + "/" + relative;
  }
  std::string Key(const std::string& relative) const { return IsPersonal() ? relative : Path(relative); }
  // What stands in front of statements that compare texts.
  static std::string LikePragma() { return IsPersonal() ? "PRAGMA case_sensitive_like=true; " : ""; }
};

inline auto BothRequests() {
  return testing::Bool();
}
inline std::string RequestName(const testing::TestParamInfo<bool>& info) {
  return info.param ? "Personal" : "Shared";
}

#endif  // TESTS_SUPPORT_BOTH_REQUESTS_H_
