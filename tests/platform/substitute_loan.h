// A lent connection that leads to no engine and does as it is told.
#ifndef TESTS_PLATFORM_SUBSTITUTE_LOAN_H_
#define TESTS_PLATFORM_SUBSTITUTE_LOAN_H_

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "db/session.h"

enum class LoanFails { kNot, kByResult, kByException };

// What it was asked for, and how it answers; outlives the loan.
struct LoanScript {
  LoanFails begin = LoanFails::kNot;
  LoanFails commit = LoanFails::kNot;
  LoanFails roll_back = LoanFails::kNot;
  bool open = false;  // a transaction, as an engine would see it
  bool lent = false;
};

class SubstituteLoan : public Loan {
 public:
  explicit SubstituteLoan(LoanScript& script) : script_(script) { script_.lent = true; }
  // A connection that is closed takes its transaction back.
  ~SubstituteLoan() override { script_.open = script_.lent = false; }
  SubstituteLoan(const SubstituteLoan&) = delete;
  SubstituteLoan& operator=(const SubstituteLoan&) = delete;

  std::unique_ptr<DatabaseEngine> HandOut(const char* /*user*/, const char* /*database*/) override {
    return nullptr;
  }
  bool Begin(std::string& error) override {
    script_.open = script_.begin != LoanFails::kByResult;
    return Answer(script_.begin, error);
  }
  bool Commit(std::string& error) override {
    if (!Answer(script_.commit, error)) return false;
    script_.open = false;
    return true;
  }
  bool RollBack() override {
    std::string ignored;
    if (!Answer(script_.roll_back, ignored)) return false;
    script_.open = false;
    return true;
  }
  std::string LastingFailure() const override { return ""; }

 private:
  static bool Answer(LoanFails how, std::string& error) {
    if (how == LoanFails::kByException) throw std::runtime_error("thrown");
    if (how == LoanFails::kByResult) error = "refused";
    return how == LoanFails::kNot;
  }

  LoanScript& script_;
};

// Lends this thread what does as SCRIPT says.
inline void LendSubstitute(LoanScript& script) {
  ASSERT_TRUE(
      Session::OfThread().Lend([&](std::string&) { return std::make_unique<SubstituteLoan>(script); }));
}

#endif  // TESTS_PLATFORM_SUBSTITUTE_LOAN_H_
