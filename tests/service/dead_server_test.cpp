// A file system of a server that never answers, below or beside a library: whoever asks it for anything waits
// for ever, and no signal ends that. On both engines.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mount.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/file_descriptor.h"
#include "support/media_maker.h"
#include "support/private_namespace.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kElsewhere = "on another machine or in an image file";

// Nothing that is mounted here is seen by others, and all of it goes with the process.
const std::string& WhyNoMounts() {
  static const std::string why = EnterPrivateNamespace({});
  return why;
}

struct FileSystem {
  const char* type;
  const char* source;
  const char* options;
};
constexpr FileSystem kSshfs{"fuse.sshfs", "server:/photos", "user_id=0,group_id=0"};
// Served by the very user whose it is, under a name that he has made up.
constexpr FileSystem kUsers{"fuse.blob", "blob", "user_id=20002,group_id=20002,allow_other"};

// Mounted at PLACE as long as one lives, or until the patience with whoever asks it is at its end: he is told
// of an error then.
class DeadServer {
 public:
  explicit DeadServer(const fs::path& place, const FileSystem& kind = kSshfs)
      : place_(place), server_(open("/dev/fuse", O_RDWR | O_CLOEXEC)) {
    const std::string options =
        "rootmode=40000," + std::string(kind.options) + ",fd=" + std::to_string(server_.get());
    if (!server_ || mount(kind.source, place_.c_str(), kind.type, 0, options.c_str()) != 0) {
      why_not_ = strerror(errno);
      return;
    }
    end_ = std::jthread([this](const std::stop_token& stopped) {
      constexpr std::chrono::seconds kPatience{60};
      constexpr std::chrono::milliseconds kPause{20};
      const auto begin = std::chrono::steady_clock::now();
      while (!stopped.stop_requested() && !was_asked_) {
        was_asked_ = std::chrono::steady_clock::now() - begin > kPatience;
        std::this_thread::sleep_for(kPause);
      }
      server_ = FileDescriptor();
    });
  }
  ~DeadServer() {
    umount2(place_.c_str(), MNT_DETACH);
    EXPECT_FALSE(WasAsked());
  }
  DeadServer(const DeadServer&) = delete;
  DeadServer& operator=(const DeadServer&) = delete;

  // "" when it is there.
  const std::string& why_not() const { return why_not_; }
  // Somebody has waited for it to the end of the patience.
  bool WasAsked() {
    end_.request_stop();
    if (end_.joinable()) end_.join();
    return was_asked_;
  }

 private:
  const fs::path place_;
  FileDescriptor server_;
  std::string why_not_;
  std::atomic<bool> was_asked_ = false;
  std::jthread end_;
};

template <typename Base>
class DeadServerTest : public Base {
 protected:
  void SetUp() override {
    if (!WhyNoMounts().empty()) GTEST_SKIP() << "no mounts here: " << WhyNoMounts();
    Base::SetUp();
    if (this->IsSkipped()) return;
    fs::create_directories(Place());
    MakeJpeg(this->File("local/own.jpg"), 8, 8);
  }

  fs::path Place() const { return this->File("stick"); }
  std::string Named() const { return this->shared() ? "--shared" : this->folder().string(); }
  // As people start it, with all that it does for them to see.
  Json::Value Loudly(const std::string& command, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{command, Named(), "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const RunResult result = this->Run(arguments);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    return StrictJson(result.out);
  }
};

TYPED_TEST_SUITE(DeadServerTest, BothKinds, KindNames);

TYPED_TEST(DeadServerTest, IsNotAskedByAFirstRun) {
  DeadServer server(this->Place());
  if (!server.why_not().empty()) GTEST_SKIP() << "no file system of a server's here: " << server.why_not();
  const Json::Value report = this->Loudly("index");
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["skipped"][kElsewhere].asInt(), 1);
}

// Nor by the next, for which what is there is known, nor by those that read all of it again.
TYPED_TEST(DeadServerTest, IsNotAskedByLaterRuns) {
  MakeJpeg(this->Place() / "deep/a.jpg", 8, 8);
  MakeJpeg(this->Place() / "b.jpg", 8, 8);
  this->Loudly("index");
  const auto rows = this->Rows();
  DeadServer server(this->Place());
  if (!server.why_not().empty()) GTEST_SKIP() << "no file system of a server's here: " << server.why_not();
  MakeJpeg(this->File("local/new.jpg"), 8, 8);
  EXPECT_EQ(this->Loudly("index")["added"].asInt(), 1);
  fs::remove(this->File("local/new.jpg"));
  this->Loudly("reindex");
  EXPECT_EQ(this->Rows(), rows);
}

// A user lets root in and never answers.
TYPED_TEST(DeadServerTest, ThatAUserServesHimselfIsNotAskedByRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "only root leaves out what a user serves";
  MakeJpeg(this->Place() / "a.jpg", 8, 8);
  this->Loudly("index");
  const auto rows = this->Rows();
  DeadServer server(this->Place(), kUsers);
  if (!server.why_not().empty()) GTEST_SKIP() << "no file system of a user's here: " << server.why_not();
  fs::create_symlink("../stick/x.jpg", this->File("local/link.jpg"));
  EXPECT_EQ(this->Loudly("index")["skipped"][kElsewhere].asInt(), 2);
  this->Loudly("reindex");
  EXPECT_EQ(this->Rows(), rows);
  this->Loudly("index", {"--dry-run"});
}

TYPED_TEST(DeadServerTest, IsNotAskedBehindALink) {
  DeadServer server(this->Place());
  if (!server.why_not().empty()) GTEST_SKIP() << "no file system of a server's here: " << server.why_not();
  fs::create_symlink("../stick/x.jpg", this->File("local/link.jpg"));
  fs::create_symlink(this->File("local") / "." / "link.jpg", this->File("second.jpg"));
  fs::create_directory_symlink(this->Place(), this->File("folder"));
  const Json::Value report = this->Loudly("index");
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["skipped"][kElsewhere].asInt(), 4);
  this->Loudly("reindex");
}

TYPED_TEST(DeadServerTest, OutsideOfTheLibraryIsNotAskedEither) {
  const fs::path outside = this->scratch() / "outside";
  fs::create_directories(outside / "server");
  fs::create_directory_symlink("server/deep", outside / "way");
  DeadServer server(outside / "server");
  if (!server.why_not().empty()) GTEST_SKIP() << "no file system of a server's here: " << server.why_not();
  fs::create_symlink(outside / "way/x.jpg", this->File("local/link.jpg"));
  EXPECT_EQ(this->Loudly("index")["skipped"][kElsewhere].asInt(), 1);
}

// Its first run may be under way, so nobody knows whether it still is one.
class DeadLibraryTest : public DeadServerTest<LibraryRowsTest> {};

TEST_F(DeadLibraryTest, IsNotAskedByOneAroundIt) {
  MakeJpeg(Place() / "a.jpg", 8, 8);
  ASSERT_EQ(Run({"index", Place()}).status, 0);
  DeadServer server(Place());
  if (!server.why_not().empty()) GTEST_SKIP() << "no file system of a server's here: " << server.why_not();
  const RunResult result = Run({"index", folder()});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "lumivault: " + folder().string() + ": lies in or around the library " +
                            Place().string() +
                            ", which is on another machine or in an image file; to give that one up, delete "
                            "its .KAVOHGADB, and unmount it for the next run\n");
}

TYPED_TEST(DeadServerTest, IsNotAskedByADryRun) {
  DeadServer server(this->Place());
  if (!server.why_not().empty()) GTEST_SKIP() << "no file system of a server's here: " << server.why_not();
  for (const bool first : {true, false}) {
    SCOPED_TRACE(first);
    EXPECT_EQ(this->Loudly("index", {"--dry-run"}).empty(), !first);
    this->Loudly("index");
  }
}

}  // namespace
