#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>

#include <algorithm>
#include <fstream>

#include "support/media_maker.h"
#include "support/service_test.h"
#include "work/wire.h"
#include "work/write_turn.h"

namespace {

// So many slow photos that no test sees the end of the run that reads them.
constexpr int kEndless = 2000;

// The program with the plug-in that does as the names of the files say.
class WorkerCrashTest : public ServiceTest {
 protected:
  void SetUp() override {
    Environment("LUMIVAULT_PLUGIN", TEST_PLUGIN);
    Environment("TEST_PLUGIN_HANGS", hangs());
    // The address sanitizer would make an exit status of the signal that ends a worker.
    Environment("ASAN_OPTIONS", "handle_segv=0");
    std::filesystem::create_directories(folder());
  }

  void MakePhotos(const std::vector<std::string>& names) {
    for (const std::string& name : names) MakeJpeg(File(name), 8, 8);
  }
  void MakePhotos(int count, const std::string& prefix) {
    for (int i = 0; i < count; ++i) MakeJpeg(File(prefix + std::to_string(1000 + i) + ".jpg"), 8, 8);
  }

  // A run whose worker hangs by now.
  std::unique_ptr<ProgramRun> StartAndHang(const std::vector<std::string>& more = {}) {
    std::filesystem::remove(hangs());
    std::vector<std::string> arguments{"index", folder(), "--quiet", "-j", "1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto run = Start(arguments);
    EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(hangs()); }));
    return run;
  }

  // How often the rows of photo NAME were kept.
  int Kept(const std::string& name) const {
    return std::stoi(Value("SELECT count(*) FROM seen WHERE path = '" + File(name).string() + "'"));
  }
  int KeptPhotos() const { return std::stoi(Value("SELECT count(*) FROM seen WHERE path LIKE '%.jpg'")); }
  std::string hangs() const { return scratch() / "hangs"; }
  bool HasRows() const { return std::filesystem::exists(folder() / ".KAVOHGADB") && KeptSafely() > 0; }

 private:
  // The table appears a moment after the file.
  int KeptSafely() const {
    const bool made = Value("SELECT count(*) FROM sqlite_master WHERE name = 'photo_share'") == "1";
    return made ? KeptPhotos() : 0;
  }
};

TEST_F(WorkerCrashTest, AFileThatKillsAWorkerCostsOnlyItself) {
  MakePhotos({"a.jpg", "b.jpg", "segfault.jpg", "y.jpg", "z.jpg"});
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["added"].asInt(), 4);
  EXPECT_EQ(report["failed"].size(), 1U);
  EXPECT_EQ(FailureOf(report, "segfault.jpg"), "killed by signal 11 (Segmentation fault)");
  for (const char* name : {"a.jpg", "b.jpg", "y.jpg", "z.jpg"}) EXPECT_EQ(Kept(name), 1) << name;
  EXPECT_EQ(Kept("segfault.jpg"), 0);
}

TEST_F(WorkerCrashTest, EveryKillerIsFoundAmongItsNeighbours) {
  MakePhotos(40, "p");
  MakePhotos({"p1003_abort.jpg", "p1017_vanish.jpg", "p1038_segfault.jpg", "q_abort.jpg"});
  const Json::Value report = Index({"-j", "2"}, 3);
  EXPECT_EQ(report["added"].asInt(), 40);
  EXPECT_EQ(report["failed"].size(), 4U);
  EXPECT_EQ(KeptPhotos(), 40);
  EXPECT_EQ(FailureOf(report, "p1017_vanish.jpg"), "ended with exit status 7");
  EXPECT_EQ(FailureOf(report, "q_abort.jpg"), "killed by signal 6 (Aborted)");
}

TEST_F(WorkerCrashTest, AFolderThatKillsAWorkerCostsOnlyItsAlbum) {
  MakePhotos({"a.jpg", "abort/b.jpg", "z/c.jpg"});
  const Json::Value report = Index({"-j", "2"}, 3);
  EXPECT_EQ(report["added"].asInt(), 3);
  EXPECT_EQ(report["folders"].asInt(), 2);
  EXPECT_EQ(FailureOf(report, "abort"), "killed by signal 6 (Aborted)");
}

TEST_F(WorkerCrashTest, TheRowsOfAPhotoFollowItThoughItKillsTheWorkerThatReadsIt) {
  MakePhotos({"a.jpg", "b.jpg"});
  Index();
  const std::string row = Value("SELECT rowid FROM photo_image WHERE path = 'a.jpg'");
  std::filesystem::rename(File("a.jpg"), File("segfault.jpg"));
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(FailureOf(Index({}, run == 0 ? 3 : 0), "segfault.jpg"),
              "killed by signal 11 (Segmentation fault)");
    EXPECT_EQ(Value("SELECT rowid FROM photo_image WHERE path = 'segfault.jpg'"), row) << run;
    EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "2") << run;
  }
}

// Somebody else did it, or want of memory.
TEST_F(WorkerCrashTest, AFileWhoseWorkerIsKilledIsTriedAgainAndNotHeldToBeBad) {
  MakePhotos({"hang.jpg"});
  const auto run = StartAndHang({"--json"});
  for (int attempt = 0; attempt < 2; ++attempt) {
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(hangs()); })) << attempt;
    std::filesystem::remove(hangs());
    const pid_t worker = ChildOf(run->pid());
    ASSERT_GT(worker, 0);
    kill(worker, SIGKILL);
  }
  const RunResult result = run->Wait();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(FailureOf(StrictJson(result.out), "hang.jpg"), "killed by signal 9 (Killed)");
  const auto next = StartAndHang();
}

TEST_F(WorkerCrashTest, AFileThatHangsIsGivenUpAtItsDeadline) {
  MakePhotos({"a.jpg", "hang.jpg", "z.jpg"});
  const auto start = std::chrono::steady_clock::now();
  const Json::Value report = Index({"--timeout", "3", "-j", "1"}, 3);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_EQ(report["added"].asInt(), 2);
  EXPECT_EQ(FailureOf(report, "hang.jpg"), "timed out after 3 s");
  EXPECT_EQ(Kept("a.jpg"), 1);
  EXPECT_EQ(Kept("z.jpg"), 1);
}

// Four deadlines over two workers; if neighbours cost theirs too, it were ten times as long.
TEST_F(WorkerCrashTest, ManyHangingFilesCostTheirDeadlinesAndNoMore) {
  MakePhotos(30, "p");
  MakePhotos({"hang1.jpg", "hang2.jpg", "hang3.jpg", "hang4.jpg"});
  const Json::Value report = Index({"--timeout", "3", "-j", "2"}, 3);
  EXPECT_EQ(report["added"].asInt(), 30);
  EXPECT_EQ(report["failed"].size(), 4U);
  EXPECT_LT(report["seconds"].asDouble(), 40.0);
}

TEST_F(WorkerCrashTest, TheReasonOfARefusedFileIsWhatThePlugInLogged) {
  MakePhotos({"a.jpg", "refuse.jpg"});
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(FailureOf(report, "refuse.jpg"), "Invalid thing : x y; Failed to save photo info.");
}

TEST_F(WorkerCrashTest, AFileThatThePlugInLeavesOutIsNoSuccess) {
  MakePhotos({"a.jpg", "ignored.jpg"});
  for (int run = 0; run < 2; ++run) {
    const Json::Value report = Index({}, run == 0 ? 3 : 0);
    EXPECT_EQ(report["added"].asInt(), run == 0 ? 1 : 0);
    EXPECT_EQ(FailureOf(report, "ignored.jpg"),
              "it has no row: the plug-in takes it for no file of this library");
    EXPECT_EQ(report["failed"][0]["known"].asBool(), run == 1) << "it is tried again, and told again";
  }
}

TEST_F(WorkerCrashTest, AFolderThatThePlugInLeavesOutIsNoSuccessAndIsSentAgain) {
  MakeJpeg(File("kept/a.jpg"), 8, 8);
  MakeJpeg(File("ignored/a.jpg"), 8, 8);
  for (int run = 0; run < 2; ++run) {
    const Json::Value report = Index({}, 3);
    EXPECT_EQ(report["folders"].asInt(), run == 0 ? 2 : 0);  // with the library's own
    EXPECT_EQ(FailureOf(report, "ignored"),
              "it has no row: the plug-in takes it for no folder of this library");
  }
}

TEST_F(WorkerCrashTest, AFileThatSpoilsATransactionCostsOnlyItself) {
  MakePhotos({"a.jpg", "b.jpg", "poison.jpg", "y.jpg", "z.jpg"});
  const Json::Value report = Index({"-j", "1"}, 3);
  EXPECT_EQ(report["added"].asInt(), 4);
  EXPECT_EQ(report["folders"].asInt(), 1);
  EXPECT_EQ(FailureOf(report, "poison.jpg"), "not kept by the database: FOREIGN KEY constraint failed");
  for (const char* name : {"a.jpg", "b.jpg", "y.jpg", "z.jpg"}) EXPECT_EQ(Kept(name), 1) << name;
  EXPECT_EQ(Kept("poison.jpg"), 0);
}

TEST_F(WorkerCrashTest, APlugInThatLogsMoreThanAPipeHoldsGoesOn) {
  MakePhotos({"a.jpg", "chatter.jpg", "z.jpg"});
  EXPECT_EQ(Index()["added"].asInt(), 3);
}

TEST_F(WorkerCrashTest, FoldersAreAddedBeforeWhatTheyHold) {
  for (const char* top : {"a", "b", "c"}) {
    for (int i = 0; i < 12; ++i) {
      const std::string path = std::string(top) + "/slow" + std::to_string(i) + "/x/photo.jpg";
      MakeJpeg(File(path), 8, 8);
    }
  }
  EXPECT_EQ(Index({"-j", "4"})["folders"].asInt(), 1 + 3 + 36 * 2);
  std::map<std::string, int> order;
  for (const Row& row : Query("SELECT rowid, path FROM seen"))
    order[row.at("path")] = std::stoi(row.at("rowid"));
  for (const auto& [path, position] : order) {
    if (path == folder()) continue;
    const std::string parent = path.substr(0, path.rfind('/'));
    ASSERT_TRUE(order.contains(parent)) << parent;
    EXPECT_LT(order[parent], position) << path;
  }
}

TEST_F(WorkerCrashTest, CtrlCKeepsWhatIsCommitted) {
  MakePhotos(kEndless, "slow");
  for (int i = 0; i < kEndless; ++i) WriteFile(File("slow" + std::to_string(1000 + i) + ".txt"), "x");
  const auto run = Start({"index", folder(), "--json", "--quiet", "-j", "2"});
  ASSERT_TRUE(Eventually([&] { return HasRows(); }));
  run->Signal(SIGINT);
  const RunResult result = run->Wait();
  EXPECT_EQ(result.status, 130) << result.err;
  const Json::Value report = StrictJson(result.out);
  EXPECT_TRUE(report["interrupted"].asBool());
  EXPECT_GT(report["added"].asInt(), 0);
  EXPECT_LT(report["added"].asInt(), kEndless);
  EXPECT_EQ(report["added"].asInt(), KeptPhotos());
  EXPECT_EQ(report["found"].asInt(), KeptPhotos()) << "not what was only looked ahead at";
  EXPECT_LE(report["skipped"]["not a photo or video"].asInt(), KeptPhotos());
  EXPECT_EQ(report["failed"].size(), 0U);
}

// Left alone, the file would end the run after a minute.
TEST_F(WorkerCrashTest, SigtermEndsWithItsOwnStatusAndDoesNotWaitForAFileThatHangs) {
  MakePhotos({"a.jpg", "hang.jpg"});
  const auto run = StartAndHang();
  const auto start = std::chrono::steady_clock::now();
  run->Signal(SIGTERM);
  EXPECT_EQ(run->Wait().status, 143);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(WorkerCrashTest, TheEndOfItsTerminalEndsARunWithItsOwnStatus) {
  MakePhotos({"hang.jpg"});
  const auto run = StartAndHang();
  run->Signal(SIGHUP);
  EXPECT_EQ(run->Wait().status, 129);
}

// As behind nohup, or in the background of a script.
TEST_F(WorkerCrashTest, WhatItsStarterHadIgnoredEndsNoRun) {
  MakePhotos({"a.jpg", "hang.jpg"});
  IgnoreStopSignals();
  const auto run = StartAndHang({"--timeout", "5"});
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) run->Signal(number);
  EXPECT_EQ(run->Wait().status, 3) << "the file alone failed";
  EXPECT_EQ(Kept("a.jpg"), 1);
}

// One signal leaves the worker two seconds. Signals of two numbers, since two of one may arrive as one.
TEST_F(WorkerCrashTest, ASecondSignalEndsTheRunAtOnce) {
  constexpr int kAttempts = 5;  // a busy machine may be late, but not every time
  MakePhotos({"hang.jpg"});
  std::chrono::steady_clock::duration fastest = std::chrono::minutes(1);
  for (int attempt = 0; attempt < kAttempts && fastest >= std::chrono::milliseconds(1500); ++attempt) {
    const auto run = StartAndHang();
    const auto start = std::chrono::steady_clock::now();
    run->Signal(SIGINT);
    run->Signal(SIGTERM);
    EXPECT_EQ(run->Wait().status, 130);
    fastest = std::min(fastest, std::chrono::steady_clock::now() - start);
  }
  EXPECT_LT(fastest, std::chrono::milliseconds(1500));
}

TEST_F(WorkerCrashTest, AWorkerThatComesAfterTheDatabaseWentMakesNoOther) {
  MakePhotos({"a.jpg", "hang.jpg", "z.jpg"});
  const auto run = StartAndHang({"--timeout", "5"});
  std::filesystem::remove(folder() / ".KAVOHGADB");
  const RunResult result = run->Wait();
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "lumivault: " + (folder() / ".KAVOHGADB").string() +
                            ": it was removed or replaced; what was done before is kept\n");
  EXPECT_FALSE(std::filesystem::exists(folder() / ".KAVOHGADB"));
}

// What the workers of SUPERVISOR share, as long as it has it open; empty when it has nothing.
FileDescriptor SharedTurnOf(pid_t supervisor) {
  std::error_code gone;
  for (const auto& entry :
       std::filesystem::directory_iterator("/proc/" + std::to_string(supervisor) + "/fd", gone)) {
    if (std::filesystem::read_symlink(entry.path(), gone).string().find("lumivault-turn") !=
        std::string::npos)
      return FileDescriptor(open(entry.path().c_str(), O_RDWR | O_CLOEXEC));
  }
  return {};
}

TEST_F(WorkerCrashTest, AWorkerWaitsForItsTurn) {
  constexpr std::chrono::milliseconds kManyTransactions{500};
  MakePhotos(kEndless, "slow");
  const auto run = Start({"index", folder(), "--quiet", "-j", "1"});
  ASSERT_TRUE(Eventually([&] { return HasRows(); }));
  const FileDescriptor shared = SharedTurnOf(run->pid());
  ASSERT_TRUE(shared);
  const WriteTurn turn(shared.get());
  int kept = 0;
  {
    const WriteTurn::Holder mine(turn);
    kept = KeptPhotos();
    std::this_thread::sleep_for(kManyTransactions);
    EXPECT_EQ(KeptPhotos(), kept);
  }
  EXPECT_TRUE(Eventually([&] { return KeptPhotos() > kept; }));
}

struct Saying {
  const char* name;
  MessageType type;
  std::string content;
};

class NonsenseTest : public WorkerCrashTest, public testing::WithParamInterface<Saying> {};

// The worker says it while it has one item in hand.
TEST_P(NonsenseTest, CostsTheFileThatTheWorkerWasAt) {
  const std::string& content = GetParam().content;
  const std::string frame = MessageWriter()
                                .Number(static_cast<std::uint32_t>(content.size() + 1))
                                .Byte(static_cast<std::uint8_t>(GetParam().type))
                                .content();
  WriteFile(scratch() / "saying", frame + content);
  Environment("TEST_PLUGIN_SAYS", scratch() / "saying");
  MakePhotos({"a.jpg", "speak.jpg", "z.jpg"});
  const Json::Value report = Index({"-j", "1", "--timeout", "5"}, 3);
  EXPECT_EQ(FailureOf(report, "speak.jpg"), "the worker's answer makes no sense");
  EXPECT_EQ(report["failed"].size(), 1U);
  EXPECT_EQ(Kept("a.jpg") + Kept("z.jpg"), 2);
}

INSTANTIATE_TEST_SUITE_P(
    Sayings, NonsenseTest,
    testing::Values(Saying{"ResultsOfAnotherPlace", MessageType::kResults,
                           EncodeResults({1000, {ItemResult::Stored()}})},
                    Saying{"MoreResultsThanItems", MessageType::kResults,
                           EncodeResults({0, std::vector<ItemResult>(kBatchSize + 1, ItemResult::Stored())})},
                    Saying{"MoreGenerationsThanItems", MessageType::kResults,
                           EncodeResults({0, {ItemResult::Stored()}, {1, 2}})},
                    Saying{"AnEndWithEverythingDone", MessageType::kUnusable,
                           MessageWriter().Number(0).Text("all done").content()},
                    Saying{"AnEndWithAStatusThatReadsAsDone", MessageType::kUnusable,
                           MessageWriter().Number(256).Text("all done").content()},
                    Saying{"AnEarlyEnd", MessageType::kBatchEnd, ""},
                    Saying{"APositionBehindTheBatch", MessageType::kTurnedTo,
                           MessageWriter().Number(kBatchSize).content()},
                    Saying{"ASecondBeginning", MessageType::kReady, MessageWriter().Text("").content()},
                    Saying{"WhatOnlyTheSupervisorSays", MessageType::kStop, ""}),
    [](const auto& saying) { return std::string(saying.param.name); });

// Each word of it gives it more time.
TEST_F(WorkerCrashTest, AWorkerThatTellsForEverWhereItIsIsLost) {
  const std::string frame = MessageWriter()
                                .Number(1 + sizeof(std::uint32_t))
                                .Byte(static_cast<std::uint8_t>(MessageType::kTurnedTo))
                                .Number(0)
                                .content();
  std::string sayings;
  for (int i = 0; i < 600; ++i) sayings += frame;
  WriteFile(scratch() / "saying", sayings);
  Environment("TEST_PLUGIN_SAYS", scratch() / "saying");
  MakePhotos({"speak.jpg"});
  EXPECT_EQ(FailureOf(Index({"--timeout", "30"}, 3), "speak.jpg"), "the worker's answer makes no sense");
}

TEST_F(WorkerCrashTest, TheWorkerProgramMayGoDuringARun) {
  const std::filesystem::path programs = UseCopyOfProgram();
  MakePhotos({"a.jpg", "hang.jpg", "z.jpg"});
  const auto run = StartAndHang({"--timeout", "5"});
  std::filesystem::remove(programs / "lumivault-worker");
  EXPECT_EQ(run->Wait().status, 3);
  EXPECT_EQ(Kept("z.jpg"), 1) << "a second worker did it";
}

// True when the process is gone, or dead and not yet collected by its new parent.
bool HasEnded(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/stat");
  std::string word;
  std::string state;
  status >> word >> word >> state;
  return !status || state == "Z";
}

TEST_F(WorkerCrashTest, WorkersDoNotOutliveTheirSupervisor) {
  MakePhotos({"hang.jpg"});
  const auto run = StartAndHang();
  const pid_t worker = ChildOf(run->pid());
  ASSERT_NE(worker, 0);
  run->Signal(SIGKILL);
  EXPECT_EQ(run->Wait().status, kKilledBy + SIGKILL);
  EXPECT_TRUE(Eventually([&] { return HasEnded(worker); }));
}

TEST_F(WorkerCrashTest, ASecondRunOnTheSameLibraryIsRefused) {
  MakePhotos({"hang.jpg"});
  const auto first = StartAndHang();
  const RunResult second = Run({"index", folder()});
  EXPECT_EQ(second.status, 6);
  EXPECT_EQ(second.out, "");
  EXPECT_EQ(second.err, "lumivault: " + folder().string() + ": another run holds the library\n");
}

TEST_F(WorkerCrashTest, ASecondRunWithAnotherStateFolderIsRefused) {
  MakePhotos({"hang.jpg"});
  const auto first = StartAndHang();
  ProgramRun other({"index", folder(), "--json", "--root=" + (scratch() / "other").string()},
                   scratch() / "other_run", {}, std::nullopt);
  const RunResult second = other.Wait();
  EXPECT_EQ(second.status, 6);
  const std::string message =
      folder().string() + ": another run holds the library, or somebody else keeps its folder locked";
  EXPECT_EQ(second.err, "lumivault: " + message + "\n");
  EXPECT_EQ(StrictJson(second.out)["error"].asString(), message);
  EXPECT_EQ(StrictJson(second.out)["status"].asInt(), 6);
}

TEST_F(WorkerCrashTest, AWorkerThatNeverStartsEndsTheRun) {
  MakePhotos({"a.jpg"});
  Environment("TEST_PLUGIN_START", "abort");
  const RunResult result = Run({"index", folder(), "--quiet"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "lumivault: no worker can be started: killed by signal 6 (Aborted)\n");
}

TEST_F(WorkerCrashTest, OneWorkerThatStartsDoesTheWorkOfAll) {
  MakePhotos(60, "p");
  Environment("TEST_PLUGIN_ONE_START", (scratch() / "started").string());
  const Json::Value report = Index({"-j", "3"});
  EXPECT_EQ(report["added"].asInt(), 60);
  EXPECT_EQ(KeptPhotos(), 60);
}

TEST_F(WorkerCrashTest, APlugInThatIsNotThereIsABadConfiguration) {
  MakePhotos({"a.jpg"});
  Environment("LUMIVAULT_PLUGIN", "/nowhere/plugin.so");
  const RunResult result = Run({"index", folder(), "--quiet"});
  EXPECT_EQ(result.status, 4);
  EXPECT_NE(result.err.find("/nowhere/plugin.so"), std::string::npos) << result.err;
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
}

}  // namespace
