#ifndef TESTS_SUPPORT_SCRIPTED_WORKERS_H_
#define TESTS_SUPPORT_SCRIPTED_WORKERS_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/event_loop.h"
#include "run/started_worker.h"

// A loop whose time passes only where nothing else happens, and then at once.
class SteppedLoop : public EventLoop {
 public:
  Moment Now() const override { return now_; }
  std::chrono::milliseconds Elapsed() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(now_ - kBegin);
  }

 protected:
  void Wait(std::vector<pollfd>& descriptors, std::optional<Moment> until) override;

 private:
  static constexpr Moment kBegin{std::chrono::hours(1)};
  Moment now_ = kBegin;
};

// What goes wrong with a worker.
enum class Fault { kNone, kNoStart, kDies, kKilled, kNonsense, kSilent, kUnusable, kOtherDatabase };

// Workers of a run that live in the run's own loop, on the other end of their sockets: they take one item a
// turn, commit when the batch is done, and do what the script says.
class ScriptedWorkers : public WorkerStarter {
 public:
  // Does what is to be done with an item, at the commit of its batch.
  using Work = std::function<ItemResult(const WorkItem&)>;
  // Asked at each step of each worker (its start, then each message that it is about to send), which are
  // numbered from 0 over all workers.
  using Script = std::function<Fault(std::size_t step)>;
  // Asked when a worker turns to an item.
  using ItemScript = std::function<Fault(const WorkItem&)>;

  ScriptedWorkers(EventLoop& loop, Work work) : loop_(loop), work_(std::move(work)) {}

  Outcome<std::unique_ptr<StartedWorker>> Start(const std::string& database) override;

  Script script = [](std::size_t) { return Fault::kNone; };
  ItemScript item_script = [](const WorkItem&) { return Fault::kNone; };
  // What a worker says, out of turn, when it turns to an item; nothing more comes of it then.
  std::function<std::optional<Message>(const WorkItem&)> says = [](const WorkItem&) { return std::nullopt; };
  // Which file a worker says that the database is.
  std::string opened = "database";
  // How long a worker takes to turn to an item, telling where it is.
  std::chrono::milliseconds pace{0};
  // The path of an item that a worker tells again and again that it is at.
  std::string loops_at;
  // Tells the place of the item that it turns to.
  bool tells_place = true;
  // Goes on after it was told to stop.
  bool deaf = false;

  // The one that was started last, of those that live, is killed.
  void KillLast();

  const std::vector<std::string>& databases() const { return databases_; }  // that workers were started for
  std::size_t steps() const { return steps_; }
  std::size_t alive() const { return living_.size(); }
  std::size_t most_alive() const { return most_alive_; }

 private:
  friend class ScriptedWorker;
  Fault NextStep() { return script(steps_++); }

  EventLoop& loop_;
  Work work_;
  std::vector<std::string> databases_;
  std::size_t steps_ = 0;
  std::vector<class ScriptedWorker*> living_;
  std::size_t most_alive_ = 0;
  std::uint64_t generation_ = 0;
};

#endif  // TESTS_SUPPORT_SCRIPTED_WORKERS_H_
