// Commands that read, told to stop while the database keeps them waiting.
#include <signal.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>

#include "support/media_maker.h"
#include "support/service_test.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The machine may have others to serve: each stop takes no more than the latter, the fastest of some no more
// than the former.
constexpr milliseconds kAtOnce{200};
constexpr milliseconds kAtOnceOnBusyMachine{2000};

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

  std::set<std::string> at_rest_;
};

TEST_F(StoppedReadingTest, ByALongQuestion) {
  MakeSlow();
  auto fastest = Clock::duration::max();
  for (const int number : {SIGINT, SIGTERM, SIGHUP})
    fastest = std::min(fastest, TimeToStop("albums", number));
  EXPECT_LT(fastest, kAtOnce);
  EXPECT_EQ(Names(), at_rest_) << "nothing of it stays in the folder";
}

TEST_F(StoppedReadingTest, NotByWhatItsStarterHadIgnored) {
  MakeSlow();
  IgnoreStopSignals();
  const auto run = Start({"albums", folder(), "--read-timeout", "2"});
  std::this_thread::sleep_for(milliseconds(1000));
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
  auto fastest = Clock::duration::max();
  for (const char* command : {"ls", "stats", "export"})
    fastest = std::min(fastest, TimeToStop(command, SIGTERM));
  EXPECT_LT(fastest, kAtOnce);
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
  const auto run = Start({"albums", folder()});
  std::this_thread::sleep_for(milliseconds(1000));
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
  EXPECT_LT(Clock::now() - begin, milliseconds(3000));
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "lumivault: the database cannot be read: The statement took too long.\n");
}

TEST_F(StoppedReadingTest, WithinOneStepOfSqlite) {
  MakeEndless();
  auto fastest = Clock::duration::max();
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) fastest = std::min(fastest, TimeToStop("stats", number));
  EXPECT_LT(fastest, kAtOnce);
  EXPECT_EQ(Names(), at_rest_) << "nothing of it stays in the folder";
}

TEST_F(StoppedReadingTest, WithinOneStepOfSqliteByItsOwnLimit) {
  MakeEndless();
  const auto begin = Clock::now();
  const RunResult result = Run({"stats", folder(), "--read-timeout", "0.2"});
  EXPECT_LT(Clock::now() - begin, milliseconds(3000));
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
  EXPECT_LT(TimeToStop(*Start({"stats", "--shared"}), SIGTERM), kAtOnce);
}

// It goes on for a minute where nobody ends it.
TEST_F(StoppedReadingOnServerTest, TheServerStopsToo) {
  const auto running = [&] {
    return Value(
        "SELECT count(*) FROM pg_stat_activity WHERE state = 'active' AND pid <> "
        "pg_backend_pid() AND backend_type = 'client backend'");
  };
  const auto run = Start({"stats", "--shared"});
  for (int i = 0; i < 100 && running() == "0"; ++i) std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(running(), "1");
  run->Signal(SIGTERM);
  run->Wait();
  for (int i = 0; i < 100 && running() != "0"; ++i) std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(running(), "0");
}

TEST_F(StoppedReadingOnServerTest, ByItsOwnLimit) {
  const auto begin = Clock::now();
  const RunResult result = Run({"stats", "--shared", "--read-timeout", "0.2"});
  EXPECT_LT(Clock::now() - begin, milliseconds(5000)) << "far from the default";
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err,
            "lumivault: the database cannot be read: ERROR:  canceling statement due to statement timeout\n");
}

}  // namespace
