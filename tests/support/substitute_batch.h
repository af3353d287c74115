// What surrounds the batch loop of a worker, made of memory, every call of which can be told to fail.
#ifndef TESTS_SUPPORT_SUBSTITUTE_BATCH_H_
#define TESTS_SUPPORT_SUBSTITUTE_BATCH_H_

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "work/write_turn.h"
#include "worker/batch_seams.h"

enum class Seam {
  kBegin,
  kRaise,
  kCommit,
  kRollBack,
  kMark,
  kHealth,
  kMake,
  kRead,
  kClock,
  kTurnTo,
  kTurnToNone,
  kTake,
  kEnd,
  kStop,
};

enum class FaultWay { kAnswer, kException };

struct SeamException : std::runtime_error {
  SeamException() : std::runtime_error("a seam has failed") {}
};

// Which call fails: number AT of SEAM, from 1, and those behind it too where it is FOR_EVER.
struct CallFault {
  Seam seam = Seam::kBegin;
  int at = 0;
  bool for_ever = false;
  FaultWay way = FaultWay::kAnswer;
};

class Faults {
 public:
  void Set(const CallFault& fault) {
    fault_ = fault;
    calls_.clear();
  }
  // True, or an exception, where this call of SEAM is to fail.
  bool Fails(Seam seam) {
    if (!FailsByAnswer(seam)) return false;
    if (fault_.way == FaultWay::kException) throw SeamException();
    return true;
  }
  // The same for what cannot throw.
  bool FailsByAnswer(Seam seam) {
    const int call = ++calls_[seam];
    return seam == fault_.seam && fault_.at > 0 &&
           (call == fault_.at || (fault_.for_ever && call > fault_.at));
  }
  // The call that was to fail has been made.
  bool met() { return calls_[fault_.seam] >= fault_.at; }

 private:
  CallFault fault_;
  std::map<Seam, int> calls_;
};

// A database, with what is kept apart from what an open transaction would add. Side files bear the names of
// the items that consume them.
class SubstituteDatabase : public WriteDatabase {
 public:
  explicit SubstituteDatabase(Faults& faults) : faults_(faults) {}

  std::string name() const override { return "/photos/.KAVOHGADB"; }
  bool Begin() override {
    if (!lent_ || open_ || faults_.Fails(Seam::kBegin)) return Refuse("cannot begin");
    open_ = true;
    return true;
  }
  std::optional<std::uint64_t> RaiseGeneration(const RunName& /*name*/) override {
    if (!open_ || faults_.Fails(Seam::kRaise)) return std::nullopt;
    return generation_ + 1;
  }
  bool Commit() override {
    if (poisoned_ || faults_.Fails(Seam::kCommit)) {
      RollBack();
      return Refuse("poisoned");
    }
    kept_.merge(added_);
    removed_.insert(pending_.begin(), pending_.end());
    ++generation_;
    Close();
    return true;
  }
  // One that cannot be had costs the connection.
  void RollBack() noexcept override {
    if (open_ && faults_.FailsByAnswer(Seam::kRollBack)) lent_ = false;
    Close();
  }
  int RemovalMark() override {
    static_cast<void>(faults_.Fails(Seam::kMark));
    return static_cast<int>(pending_.size());
  }
  void ForgetRemovals(int mark) noexcept override {
    if (pending_.size() > static_cast<std::size_t>(mark)) pending_.resize(static_cast<std::size_t>(mark));
  }
  std::string error() const override { return error_; }
  std::optional<std::string> LastingFailure() override {
    if (faults_.Fails(Seam::kHealth)) failed_ = true;
    return failed_ ? std::optional<std::string>("it is full") : std::nullopt;
  }

  // What calls do in the transaction, or without one at once, as the engine would.
  void Add(const std::string& row) { (open_ ? added_ : kept_).insert(row); }
  void Consume(const std::string& file) {
    if (open_) {
      pending_.push_back(file);
    } else {
      removed_.insert(file);
    }
  }
  // The transaction will not be kept.
  void Poison() { poisoned_ = true; }
  // As for the next worker.
  void LendAnew() {
    lent_ = true;
    failed_ = false;
  }

  bool open() const { return open_; }
  bool lent() const { return lent_; }
  const std::set<std::string>& kept() const { return kept_; }
  const std::set<std::string>& removed() const { return removed_; }
  std::uint64_t generation() const { return generation_; }

 private:
  bool Refuse(const char* why) {
    error_ = why;
    return false;
  }
  void Close() {
    open_ = poisoned_ = false;
    added_.clear();
    pending_.clear();
  }

  Faults& faults_;
  std::set<std::string> kept_;
  std::set<std::string> added_;
  std::vector<std::string> pending_;
  std::set<std::string> removed_;
  std::uint64_t generation_ = 0;
  std::string error_;
  bool open_ = false;
  bool poisoned_ = false;
  bool lent_ = true;
  bool failed_ = false;
};

// Stores what it is given; names that hold certain words go wrong by themselves.
class SubstituteCalls : public ItemCalls {
 public:
  SubstituteCalls(Faults& faults, SubstituteDatabase& database) : faults_(faults), database_(database) {}

  ItemResult Make(const WorkItem& item, PreparedItem& /*prepared*/, Transaction& transaction) override {
    const auto holds = [&](const char* word) { return item.path.find(word) != std::string::npos; };
    at_make();
    outside_ = outside_ || !database_.open();
    database_.Consume(item.path);
    if (faults_.Fails(Seam::kMake) || holds("refused")) return ItemResult::NotKept("refused");
    database_.Add(item.path);
    if (holds("poison")) database_.Poison();
    if (holds("spoil")) {
      transaction.Spoil();
      return ItemResult::NotKept("spoiled");
    }
    ItemResult stored = ItemResult::Stored();
    if (holds("partial")) stored.outcome = ItemOutcome::kPartial;
    return stored;
  }

  // A call was made without a transaction.
  bool outside() const { return outside_; }

  std::function<void()> at_make = [] {};

 private:
  Faults& faults_;
  SubstituteDatabase& database_;
  bool outside_ = false;
};

class SubstituteGiver : public BatchGiver {
 public:
  SubstituteGiver(Faults& faults, const SubstituteDatabase& database)
      : faults_(faults), database_(database) {}

  bool TurnTo(std::uint32_t /*index*/, const WorkItem& /*item*/) override {
    return !faults_.Fails(Seam::kTurnTo);
  }
  bool TurnToNone() override {
    at_turn_to_none();
    return !faults_.Fails(Seam::kTurnToNone);
  }
  bool Take(const Results& results) override {
    if (faults_.Fails(Seam::kTake)) return false;
    too_early_ = too_early_ || database_.open();
    taken.push_back(results);
    return true;
  }
  bool End() override { return !faults_.Fails(Seam::kEnd); }
  bool WantsStop() override { return faults_.Fails(Seam::kStop); }

  // Something was told before its transaction was over.
  bool too_early() const { return too_early_; }

  std::vector<Results> taken;
  std::function<void()> at_turn_to_none = [] {};

 private:
  Faults& faults_;
  const SubstituteDatabase& database_;
  bool too_early_ = false;
};

// All of them, and a clock that moves on by STEP each time it is looked at.
struct SubstituteBatch {
  explicit SubstituteBatch(std::chrono::milliseconds clock_step) : step(clock_step) {}

  BatchSeams Seams() {
    return {database,
            calls,
            giver,
            turn,
            [this](const WorkItem& item) { return Read(item); },
            [this] { return Now(); }};
  }
  PreparedItem Read(const WorkItem& item) {
    PreparedItem prepared;
    prepared.readable = !faults.Fails(Seam::kRead) && item.path.find("unreadable") == std::string::npos;
    prepared.late = item.path.find("late") != std::string::npos;
    prepared.fingerprint = "of " + item.path;
    reads.push_back(item.path);
    at_read();
    return prepared;
  }
  std::chrono::steady_clock::time_point Now() {
    constexpr std::chrono::hours kJump{1};
    time += faults.Fails(Seam::kClock) ? std::chrono::milliseconds(kJump) : step;
    return time;
  }

  Faults faults;
  SubstituteDatabase database{faults};
  SubstituteCalls calls{faults, database};
  SubstituteGiver giver{faults, database};
  FileDescriptor shared_turn = WriteTurn::MakeShared();
  WriteTurn turn{shared_turn.get()};
  std::function<void()> at_read = [] {};
  std::chrono::milliseconds step;
  std::chrono::steady_clock::time_point time;
  std::vector<std::string> reads;
};

#endif  // TESTS_SUPPORT_SUBSTITUTE_BATCH_H_
