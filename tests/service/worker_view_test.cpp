// What the owner's worker sees of root's state folder is there as long as the run is.
#include "setup/worker_view.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <string>

#include "base/file_descriptor.h"
#include "service/owned_library_fixture.h"

namespace fs = std::filesystem;

namespace {

class WorkerViewTest : public OwnedLibraryTest {
 protected:
  static constexpr const char* kJobs = "$LUMIVAULT_ROOT/var/services/photo/@eaDir";

  // The program may have no more files open than so many; until then it may as ever.
  class FewFiles {
   public:
    explicit FewFiles(rlim_t most) {
      getrlimit(RLIMIT_NOFILE, &before_);
      const rlimit few{most, before_.rlim_max};
      setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewFiles() { setrlimit(RLIMIT_NOFILE, &before_); }
    FewFiles(const FewFiles&) = delete;
    FewFiles& operator=(const FewFiles&) = delete;

   private:
    rlimit before_{};
  };

  void SetUp() override {
    OwnedLibraryTest::SetUp();
    if (!IsSkipped()) Photo("a.jpg");
  }
  // Empty where there is none.
  fs::path View() const {
    if (!fs::exists(state() / "libraries")) return {};
    for (const auto& library : fs::directory_iterator(state() / "libraries"))
      if (fs::exists(fs::symlink_status(library.path() / "worker"))) return library.path() / "worker";
    return {};
  }
  fs::path LibraryPlace() const { return fs::directory_iterator(state() / "libraries")->path(); }
  static constexpr int kLevels = 100;
  // More folders in one another than can be open at once, made while a photo is read, and then the file
  // "made".
  void MakeDeep() const {
    std::string deep(kJobs);
    for (int i = 0; i < kLevels; ++i) deep += "/d";
    UsePreviewTool("mkdir -p " + deep + " && : >" + File("made").string());
  }
  // Ends a run, whose worker is at a photo, by the signal.
  void StopBy(int number) {
    UsePreviewTool("sleep 20");
    const auto run = Start({"index", folder(), "--quiet"});
    EXPECT_TRUE(Eventually([&] { return !View().empty() && ChildOf(run->pid()) != 0; }));
    run->Signal(number);
    static_cast<void>(run->Wait());
    UsePreviewTool("true");
  }
};

TEST_F(WorkerViewTest, GoesWithTheRun) {
  UsePreviewTool("ls -d " + std::string(kJobs) + " >" + File("seen").string());
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_NE(ReadFile(File("seen")), "") << "the worker had none";
  EXPECT_EQ(View(), "");
}

TEST_F(WorkerViewTest, GoesWithARunThatFails) {
  Index();
  Own(Database(), kStranger);
  Photo("b.jpg");
  EXPECT_EQ(Run({"index", folder()}).status, 5);
  EXPECT_EQ(View(), "");
}

TEST_F(WorkerViewTest, GoesWithARunThatIsStopped) {
  StopBy(SIGINT);
  EXPECT_EQ(View(), "");
}

TEST_F(WorkerViewTest, OfAKilledRunGoesWithTheNext) {
  StopBy(SIGKILL);
  EXPECT_NE(View(), "");
  EXPECT_EQ(Run({"index", folder(), "--as-root"}).status, 0) << "which makes none";
  EXPECT_EQ(View(), "");
}

TEST_F(WorkerViewTest, HasNothingOfAnEarlierRun) {
  Index();
  WriteFile(LibraryPlace() / "worker/usr/kavo/bin/php", "an earlier one's");
  fs::create_directory_symlink(scratch(), LibraryPlace() / "worker/etc");
  Photo("b.jpg");
  UsePreviewTool("ls $LUMIVAULT_ROOT/usr/kavo/bin >" + File("seen").string());
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_THAT(ReadFile(File("seen")), testing::Not(testing::HasSubstr("php")));
  EXPECT_TRUE(fs::exists(secret())) << "behind a link";
}

TEST_F(WorkerViewTest, ThatCannotBeRemovedIsTold) {
  MakeDeep();
  const FewFiles few(kLevels / 2);
  for (const int status : {0, 4}) {
    const RunResult result = Run({"index", folder(), "--quiet"});
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.err, "lumivault: " + View().string() + ": cannot be removed: Too many open files\n");
  }
}

// The line about it is for somebody who may take nothing.
TEST_F(WorkerViewTest, ThatCannotBeRemovedHoldsNoLibrary) {
  Index();
  Photo("b.jpg");
  MakeDeep();
  const FewFiles few(kLevels / 2);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const FileDescriptor reader(ends.front());
  const FileDescriptor writer(ends.back());
  const auto room = static_cast<std::size_t>(fcntl(writer.get(), F_GETPIPE_SZ));
  ASSERT_EQ(write(writer.get(), std::string(room, '.').data(), room), static_cast<ssize_t>(room));
  const std::string redirection = "exec \"$@\" 2>/proc/self/fd/" + std::to_string(writer.get());
  const std::map<std::string, std::string> as_it_is;
  const ProgramRun run({"-c", redirection, "sh", LUMIVAULT_PROGRAM, "index", folder(), "--quiet",
                        "--root=" + state().string()},
                       scratch() / "stalled", as_it_is, std::nullopt, "/bin/sh");
  // The database is not asked meanwhile: what root's connection makes beside it the owner's cannot write.
  EXPECT_TRUE(Eventually([&] { return fs::exists(File("made")); }));
  const FileDescriptor library(open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_TRUE(Eventually([&] { return flock(library.get(), LOCK_EX | LOCK_NB) == 0; }));
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "2");
}

}  // namespace
