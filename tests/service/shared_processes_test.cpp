// Several writers of one library at once, and a server that goes away under them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <random>

#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

using std::chrono::milliseconds;

// How often the server goes away; LUMIVAULT_RESTARTS sets another number for a longer look.
constexpr unsigned kRestarts = 4;
constexpr int kPhotosOfRestart = 60;
constexpr int kUpdates = 300;

class SharedProcessesTest : public SharedTreeTest {
 protected:
  void MakePhotos(const fs::path& folder, int count) {
    for (int i = 0; i < count; ++i) {
      MakeJpeg(folder / ("album" + std::to_string(i % 5)) / ("p" + std::to_string(i) + ".jpg"), 8, 8,
               {{"Iptc.Application2.Keywords", "k" + std::to_string(i % 7)},
                {"Exif.Image.Make", "m" + std::to_string(i)}});
    }
  }
  static bool HasEnded(pid_t process) {
    siginfo_t ended{};
    return waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid != 0;
  }
  static void Restart() {
    ASSERT_TRUE(cluster().Stop("immediate"));
    ASSERT_TRUE(cluster().Start());
  }
};

TEST_F(SharedProcessesTest, ARunOverRestartsOfTheServerIsCompletedByTheNext) {
  const int restarts = static_cast<int>(FromEnvironment("LUMIVAULT_RESTARTS", kRestarts));
  MakePhotos(folder(), restarts * kPhotosOfRestart);
  Index({"-j", "2"});
  const std::string undisturbed = Export();
  ForgetLibrary();

  const auto seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  int done = 0;
  int runs = 0;
  while (done < restarts) {
    const std::string before = Count();
    const auto run = Start({"index", "--shared", "--json", "--quiet", "-j", "2"});
    ++runs;
    // A run needs the server at its beginning.
    static_cast<void>(Eventually([&] { return Count() != before || HasEnded(run->pid()); }));
    while (done < restarts && !HasEnded(run->pid())) {
      std::this_thread::sleep_for(milliseconds(random() % 200));
      Restart();
      ++done;
    }
    const RunResult result = run->Wait();
    EXPECT_THAT(result.status, testing::AnyOf(0, 3, 5)) << result.out << result.err;
    std::printf("run %d, %d restarts so far: exit %d %s%s\n", runs, done, result.status,
                result.out.substr(0, 160).c_str(), result.err.c_str());
  }
  Index({"-j", "2"});
  EXPECT_EQ(Export(), undisturbed);
}

// What other programs do with the rows, through the exported interface, while runs go on over both libraries.
TEST_F(SharedProcessesTest, RunsAndAnotherToolLoseNothingOfEachOther) {
  const fs::path personal = scratch() / "own";
  MakePhotos(folder(), 120);
  MakePhotos(personal, 120);
  ASSERT_EQ(Run({"index", personal, "--quiet"}).status, 0);
  setenv("LUMIVAULT_ROOT", state().c_str(), 1);
  const auto shared_run = Start({"index", "--shared", "--json", "--quiet", "-j", "2"});
  const auto personal_run = Start({"reindex", personal, "--json", "--quiet", "-j", "2"});
  int failures = 0;
  for (int i = 0; i < kUpdates; ++i) {
    const std::string root = i % 2 == 0 ? folder().string() : personal.string();
    failures += HGAStatusCheck(root.c_str()) == 0 ? 0 : 1;
    failures += PhotoDBExec("UPDATE photo_share SET hits = hits + 1 WHERE sharename = '/'") == 1 ? 0 : 1;
    failures += PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "*", nullptr, nullptr) >= 0 ? 0 : 1;
  }
  for (ProgramRun* run : {shared_run.get(), personal_run.get()}) {
    const RunResult result = run->Wait();
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(StrictJson(result.out)["failed"].size(), 0U) << result.out;
  }
  PhotoDBConnClose();
  unsetenv("LUMIVAULT_ROOT");
  EXPECT_EQ(failures, 0);
  const std::string hits = "SELECT hits FROM photo_share WHERE sharename = '/'";
  EXPECT_EQ(Value(hits), std::to_string(kUpdates / 2));
  EXPECT_EQ(QueryDatabase(personal / ".KAVOHGADB", hits).front().at("hits"), std::to_string(kUpdates / 2));
  EXPECT_EQ(Value("SELECT count(*) || ' ' || count(DISTINCT path) AS v FROM photo_image"), "120 120");
  EXPECT_EQ(Value("SELECT count(*) || ' ' || count(DISTINCT shareid) AS v FROM photo_share"), "6 6");
}

// Albums that somebody else records while a run is about to, under the very ids that it is about to use.
TEST_F(SharedProcessesTest, AlbumsMadeByAnotherToolGetOneRowEach) {
  constexpr int kAlbums = 120;
  for (int i = 0; i < kAlbums; ++i) fs::create_directories(File("a" + std::to_string(i)));
  setenv("LUMIVAULT_ROOT", state().c_str(), 1);
  const auto run = Start({"index", "--shared", "--json", "--quiet", "-j", "2"});
  ASSERT_EQ(HGAStatusCheck(folder().c_str()), 0);
  for (int i = kAlbums - 1; i >= 0; --i) {
    const auto album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
    const std::string name = "a" + std::to_string(i);
    name.copy(album->szShareName, name.size());
    album->shareId = KAVOPhotoShareGetNewId();
    EXPECT_EQ(PhotoShareInfoDBSave(album.get()), 0) << name;
  }
  const RunResult result = run->Wait();
  PhotoDBConnClose();
  unsetenv("LUMIVAULT_ROOT");
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_EQ(
      Value("SELECT count(*) || ' ' || count(DISTINCT shareid) || ' ' || count(DISTINCT sharename) AS v "
            "FROM photo_share"),
      "121 121 121");
  EXPECT_EQ(Value("SELECT count(*) FROM photo_share WHERE ref_shareid <> shareid"), "0");
}

}  // namespace
