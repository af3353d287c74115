// Commands that read, told to stop while the database keeps them waiting.
#include <signal.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <sstream>

#include "support/media_maker.h"
#include "support/service_test.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The machine may have others to serve: each stop takes no more than the latter, far from what is asked, and
// the fastest of some no more than the former.
constexpr milliseconds kAtOnce{200};
constexpr milliseconds kAtOnceOnBusyMachine{20'000};
// The end by a limit of its own, where the default is ten minutes.
constexpr milliseconds kLongBeforeTheDefault{30'000};

// "" for what is no link or not there any more.
fs::path ReadLink(const fs::path& link) {
  std::error_code none;
  return fs::read_symlink(link, none);
}

// What PROCESS has used until now.
milliseconds ProcessorTime(pid_t process) {
  constexpr int kBeforeTimes =
      11;  // words between the program's name and its own and the system's time for it
  const std::string stat = ReadFile("/proc/" + std::to_string(process) + "/stat");
  std::istringstream words(stat.substr(stat.rfind(')') + 1));
  std::string word;
  for (int i = 0; i < kBeforeTimes; ++i) words >> word;
  long own = 0;
  long of_system = 0;
  words >> own >> of_system;
  return milliseconds(1000 * (own + of_system) / sysconf(_SC_CLK_TCK));
}

// Tells RUN to stop when it is under way; how long it takes to end of that.
Clock::duration TimeToStop(ProgramRun& run, int number) {
  std::this_thread::sleep_for(milliseconds(1000));
  const auto told = Clock::now();
  run.Signal(number);
  const RunResult result = run.Wait();
  const auto taken = Clock::now() - told;
  EXPECT_LT(taken, kAtOnceOnBusyMachine);
  EXPECT_EQ(result.status, kKilledBy + number) << result.out << result.err;
  return taken;
}

// Tries MEASURE(number of the try) LEAST times, and more often while none was at once.
template <typename Measure>
void ExpectOneAtOnce(int least, Measure&& measure) {
  constexpr int kTries = 10;
  auto fastest = Clock::duration::max();
  for (int i = 0; i < least || (i < kTries && fastest >= kAtOnce); ++i)
    fastest = std::min(fastest, measure(i));
  EXPECT_LT(fastest, kAtOnce);
}

constexpr std::array kStops{SIGINT, SIGTERM, SIGHUP};

// Of an SQLite file, as its format has it.
class EndlessIndex {
 public:
  explicit EndlessIndex(std::string file) : file_(std::move(file)) {
    page_size_ = Number(file_, 16, 2);
    pages_ = file_.size() / page_size_;
  }

  // The index whose first page is ROOT leads through 19 others, each 61 times to the next.
  std::string Planted(std::size_t root) const {
    constexpr std::size_t kLevels = 19;
    std::string planted = file_;
    planted.replace((root - 1) * page_size_, page_size_, Page(pages_ + 1));
    for (std::size_t level = 1; level <= kLevels; ++level)
      planted += Page(level < kLevels ? pages_ + level + 1 : 0);
    Put(planted, 28, planted.size() / page_size_, 4);
    return planted;
  }

 private:
  static std::size_t Number(const std::string& bytes, std::size_t at, std::size_t size) {
    std::size_t number = 0;
    for (std::size_t i = 0; i < size; ++i) number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
    return number;
  }
  static void Put(std::string& bytes, std::size_t at, std::size_t number, std::size_t size) {
    for (std::size_t i = size; i-- > 0; number >>= 8) bytes[at + i] = static_cast<char>(number & 0xFF);
  }
  // NEXT is 0 for a leaf.
  std::string Page(std::size_t next) const {
    constexpr std::size_t kCells = 60;
    constexpr std::size_t kRecord = 5;  // its length, a header of three bytes, the number 5
    const std::size_t header = next != 0 ? 12 : 8;
    const std::size_t cell = next != 0 ? 4 + kRecord : kRecord;
    std::string page(page_size_, '\0');
    page[0] = next != 0 ? 2 : 10;
    Put(page, 3, kCells, 2);
    Put(page, 5, page_size_ - kCells * cell, 2);
    if (next != 0) Put(page, 8, next, 4);
    for (std::size_t i = 0; i < kCells; ++i) {
      const std::size_t at = page_size_ - (i + 1) * cell;
      Put(page, header + 2 * i, at, 2);
      if (next != 0) Put(page, at, next, 4);
      page.replace(at + cell - kRecord, kRecord, std::string("\x04\x03\x00\x01\x05", kRecord));
    }
    return page;
  }

  std::string file_;
  std::size_t page_size_ = 0;
  std::size_t pages_ = 0;
};

class StoppedReadingTest : public ServiceTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 16, 8);
    Index();
    at_rest_ = Names();
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) names.insert(entry.path().filename());
    return names;
  }
  // Albums and photos without an index between them: each album walks all photos.
  void MakeSlow() const {
    Query("DROP INDEX photo_image_shareid");
    Query(
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 30000) "
        "INSERT INTO photo_image (path, shareid) SELECT 'x' || i, i FROM n");
    Query(
        "WITH RECURSIVE n (i) AS (SELECT 100 UNION ALL SELECT i + 1 FROM n WHERE i < 30000) "
        "INSERT INTO photo_share (shareid, sharename) SELECT i, 'x' || i FROM n");
  }
  // A key of albums whose pages all lead to the same next one: it has ten to the thirty-fifth entries. SQLite
  // counts them in a single step of its machine.
  void MakeEndless() const {
    Query("PRAGMA journal_mode = DELETE");
    const auto root =
        std::stoul(Value("SELECT rootpage FROM sqlite_schema WHERE name = 'sqlite_autoindex_photo_share_1'"));
    std::string file = ReadFile(File(".KAVOHGADB"));
    const EndlessIndex index(file);
    WriteFile(File(".KAVOHGADB"), index.Planted(root));
  }
  Clock::duration TimeToStop(const std::string& command, int number) {
    SCOPED_TRACE(command);
    return ::TimeToStop(*Start({command, folder()}), number);
  }

  // Each signal.
  void ExpectEachToStop(const std::string& command) {
    ExpectOneAtOnce(static_cast<int>(kStops.size()), [&](int i) {
      return TimeToStop(command, kStops[static_cast<std::size_t>(i) % kStops.size()]);
    });
  }

  std::set<std::string> at_rest_;
};

TEST_F(StoppedReadingTest, ByALongQuestion) {
  MakeSlow();
  ExpectEachToStop("albums");
  EXPECT_EQ(Names(), at_rest_) << "nothing of it stays in the folder";
}

TEST_F(StoppedReadingTest, NotByWhatItsStarterHadIgnored) {
  MakeSlow();
  IgnoreStopSignals();
  const auto run = Start({"albums", folder(), "--read-timeout", "5"});
  const fs::path program = fs::canonical(LUMIVAULT_PROGRAM);
  const fs::path runs = "/proc/" + std::to_string(run->pid()) + "/exe";
  ASSERT_TRUE(Eventually([&] { return ReadLink(runs) == program; })) << "its starter still sets it up";
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) run->Signal(number);
  EXPECT_EQ(run->Wait().err, "lumivault: the database cannot be read: The statement took too long.\n");
}

TEST_F(StoppedReadingTest, BehindALock) {
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open((folder() / ".KAVOHGADB").c_str(), &holder), SQLITE_OK);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closed(holder, &sqlite3_close);
  ASSERT_EQ(sqlite3_exec(holder, "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; DELETE FROM photo_label",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  constexpr std::array kCommands{"ls", "stats", "export"};
  ExpectOneAtOnce(static_cast<int>(kCommands.size()), [&](int i) {
    return TimeToStop(kCommands[static_cast<std::size_t>(i) % kCommands.size()], SIGTERM);
  });
}

// The owner of a database may do so at any time. Its log is not in the database yet, so each page is looked
// up in the memory.
TEST_F(StoppedReadingTest, ByItsSharedMemoryBeingCutShort) {
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(File(".KAVOHGADB").c_str(), &holder), SQLITE_OK);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closed(holder, &sqlite3_close);
  ASSERT_EQ(sqlite3_exec(holder, "PRAGMA wal_autocheckpoint = 0; SELECT count(*) FROM photo_label", nullptr,
                         nullptr, nullptr),
            SQLITE_OK);
  MakeSlow();
  const fs::path memory = File(".KAVOHGADB-shm");
  const auto size = fs::file_size(memory);
  const auto run = Start({"albums", folder(), "--read-timeout", "600"});
  // It is in the midst of the question; one that had not begun would make the file anew.
  ASSERT_TRUE(Eventually([&] { return ProcessorTime(run->pid()) > milliseconds(500); }));
  fs::resize_file(memory, 0);
  const RunResult result = run->Wait();
  fs::resize_file(memory, size);
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "lumivault: a file that was being read was cut short\n");
}

TEST_F(StoppedReadingTest, ByItsOwnLimit) {
  MakeSlow();
  const auto begin = Clock::now();
  const RunResult result = Run({"albums", folder(), "--read-timeout", "0.2"});
  EXPECT_LT(Clock::now() - begin, kLongBeforeTheDefault);
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "lumivault: the database cannot be read: The statement took too long.\n");
}

TEST_F(StoppedReadingTest, WithinOneStepOfSqlite) {
  MakeEndless();
  ExpectEachToStop("stats");
  EXPECT_EQ(Names(), at_rest_) << "nothing of it stays in the folder";
}

TEST_F(StoppedReadingTest, WithinOneStepOfSqliteByItsOwnLimit) {
  MakeEndless();
  const auto begin = Clock::now();
  const RunResult result = Run({"stats", folder(), "--read-timeout", "0.2"});
  EXPECT_LT(Clock::now() - begin, kLongBeforeTheDefault);
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "lumivault: the database cannot be read: The statement took too long.\n");
}

TEST_F(StoppedReadingTest, ALimitThatIsNoneIsWrongUsage) {
  for (const char* limit : {"0", "-1", "soon", "601"})
    EXPECT_EQ(Run({"ls", folder(), "--read-timeout", limit}).status, 2) << limit;
}

// A question about photos takes the server a minute.
class StoppedReadingOnServerTest : public SharedTreeTest {
 protected:
  void SetUp() override {
    SharedTreeTest::SetUp();
    if (IsSkipped()) return;
    MakeJpeg(File("a.jpg"), 16, 8);
    Index();
    Query("ALTER TABLE photo_image RENAME TO photos");
    Query("CREATE VIEW photo_image AS SELECT photos.* FROM photos, pg_sleep(60)");
  }
};

TEST_F(StoppedReadingOnServerTest, ByALongQuestion) {
  ExpectOneAtOnce(1, [&](int) { return TimeToStop(*Start({"stats", "--shared"}), SIGTERM); });
}

// It goes on for a minute where nobody ends it.
TEST_F(StoppedReadingOnServerTest, TheServerStopsToo) {
  const auto running = [&] {
    return Value(
        "SELECT count(*) FROM pg_stat_activity WHERE state = 'active' AND pid <> "
        "pg_backend_pid() AND backend_type = 'client backend'");
  };
  const auto run = Start({"stats", "--shared"});
  ASSERT_TRUE(Eventually([&] { return running() == "1"; }));
  run->Signal(SIGTERM);
  run->Wait();
  const auto ended = Clock::now();
  EXPECT_TRUE(Eventually([&] { return running() == "0"; }));
  EXPECT_LT(Clock::now() - ended, kAtOnceOnBusyMachine);
}

TEST_F(StoppedReadingOnServerTest, ByItsOwnLimit) {
  const auto begin = Clock::now();
  const RunResult result = Run({"stats", "--shared", "--read-timeout", "0.2"});
  EXPECT_LT(Clock::now() - begin, kLongBeforeTheDefault);
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err,
            "lumivault: the database cannot be read: ERROR:  canceling statement due to statement timeout\n");
}

}  // namespace
