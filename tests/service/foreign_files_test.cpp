// Whoever owns a folder chooses what stands under each name in it: a link, a pipe, a folder, another name of
// somebody's file. Whatever command is run on such a library, nothing outside of it, of the state folder and
// of the temporary folder is written, renamed, removed or given another mode, and no private file is opened.
// The same holds for the names of the state folder, where somebody had the opportunity to put something
// there.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/cluster_test.h"
#include "support/media_maker.h"
#include "support/service_test.h"
#include "support/system_call_trace.h"

namespace fs = std::filesystem;

namespace {

constexpr uid_t kOwner = 20'002;      // of the library
constexpr uid_t kNeighbour = 20'001;  // whose files are private

constexpr const char* kSecretText = "what a neighbour wrote";
constexpr const char* kSecretKeyword = "neighbours-keyword";

// Who runs the program: root as the folder's owner, as itself or in a folder of its own, or a user.
enum class Caller { kRoot, kUser, kAsRoot, kInRootsFolder };

// What stands under a name in the place of what belongs there.
enum class Form { kLinkToFile, kLinkToFolder, kLinkToNowhere, kPipe, kFolder, kHardLink, kMovedFile };
// In a state folder there is nothing of others to be moved.
constexpr Form kStateForms[] = {Form::kLinkToFile, Form::kLinkToFolder, Form::kLinkToNowhere,
                                Form::kPipe,       Form::kFolder,       Form::kHardLink};
constexpr Form kForms[] = {Form::kLinkToFile, Form::kLinkToFolder, Form::kLinkToNowhere, Form::kPipe,
                           Form::kFolder,     Form::kHardLink,     Form::kMovedFile};

// Everything that the tree FOLDER holds, as a text that any change makes another.
std::string StateOf(const fs::path& folder, bool with_links) {
  std::string state;
  std::set<fs::path> paths{folder};
  for (const auto& entry : fs::recursive_directory_iterator(folder)) paths.insert(entry.path());
  for (const fs::path& path : paths) {
    struct stat status {};
    lstat(path.c_str(), &status);
    state += path.string() + " " + std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) +
             " " + std::to_string(status.st_ino) + " " + (with_links ? std::to_string(status.st_nlink) : "") +
             " " + std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec) +
             " " + (S_ISREG(status.st_mode) ? ReadFile(path) : "") + "\n";
  }
  return state;
}

// Owner, mode, number of names and content of all that people have in LIBRARY: all but its database, what is
// PUT there in the place of one of its files excepted. Jobs are added to the queue itself.
std::map<std::string, std::string> PeoplesFiles(const fs::path& library, const std::string& put) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(library)) {
    const std::string name = entry.path().lexically_relative(library);
    struct stat status {};
    if ((name.starts_with(".KAVOHGADB") && name != put) || lstat(entry.path().c_str(), &status) != 0)
      continue;
    std::string& file = files[name];
    file = std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid) + " " +
           std::to_string(status.st_mode) + " ";
    if (!S_ISREG(status.st_mode)) continue;
    file += std::to_string(status.st_nlink);
    if (name != "@eaDir/kavophoto_face.queue" || name == put) file += " " + ReadFile(entry.path());
  }
  return files;
}

// Side files go when what they say has been taken in, and nothing else does.
void ExpectAsBefore(const std::map<std::string, std::string>& before,
                    const std::map<std::string, std::string>& now) {
  for (const auto& [name, file] : before) {
    const auto found = now.find(name);
    if (found != now.end()) {
      EXPECT_EQ(found->second, file) << name;
    } else {
      EXPECT_TRUE(name.starts_with("@eaDir/")) << name << " is gone";
    }
  }
}

void GiveTree(const fs::path& tree, uid_t user) {
  ASSERT_EQ(lchown(tree.c_str(), user, user), 0);
  for (const auto& entry : fs::recursive_directory_iterator(tree)) {
    ASSERT_EQ(lchown(entry.path().c_str(), user, user), 0);
  }
}

class ForeignFilesTest : public ServiceTest, public testing::WithParamInterface<Caller> {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files to several users";
    if (const std::string why = CannotTrace(); !why.empty()) GTEST_SKIP() << why;
    MakePrivateFiles();
    MakeLibrary();
  }

  // A file of each kind that a name of the library may be taken for.
  void MakePrivateFiles() {
    MakeJpeg(Private("photo"), 8, 6, {{"Iptc.Application2.Keywords", kSecretKeyword}});
    WriteFile(Private("text"), kSecretText);
    WriteFile(Private("empty"), "");
    fs::create_directories(Private("folder"));
    WriteFile(Private("folder/a.jpg"), ReadFile(Private("photo")));
    GiveTree(private_folder(), private_user());
    for (const auto& entry : fs::recursive_directory_iterator(private_folder())) {
      fs::permissions(entry.path(), entry.is_directory() ? fs::perms::owner_all : fs::perms(0600));
    }
    fs::permissions(private_folder(), fs::perms::owner_all);
  }

  // One that has been indexed, with a state folder of the caller's.
  void MakeLibrary() {
    MakeJpeg(File("a.jpg"), 8, 6);
    MakeJpeg(File("trip/b.jpg"), 8, 6);
    ASSERT_EQ(Run({"index", shared() ? "--shared" : folder(), "--quiet"}).status, 0);
    WriteFile(File("@eaDir/a.jpg/KAVOPHOTO_TITLE"), "a title");
    WriteFile(File("a.jpg"), ReadFile(File("a.jpg")));  // it differs: the next run reads it again
    if (caller_user() != 0) {
      AsUser(caller_user());
      GiveTree(state(), caller_user());
      fs::permissions(scratch(), fs::perms::all);
    }
    GiveTree(folder(), owner());
    // A folder that several people put photos into.
    for (const fs::path& shared : {folder(), File("trip"), File("@eaDir"), File("@eaDir/a.jpg")})
      fs::permissions(shared, fs::perms::all);
    if (!shared()) fs::permissions(File(".KAVOHGADB"), fs::perms(0666));
  }

  uid_t caller_user() const { return GetParam() == Caller::kUser ? kNobody : 0; }
  uid_t private_user() const { return caller_user() == 0 ? kNeighbour : caller_user(); }
  uid_t owner() const { return GetParam() == Caller::kInRootsFolder ? 0 : kOwner; }
  fs::path private_folder() const { return scratch() / "private"; }
  fs::path Private(const std::string& name) const { return private_folder() / name; }

  // The private file that is most like what belongs at PATH.
  static const char* LikeOf(const fs::path& path) {
    if (path.filename() == "enabled") return "empty";
    return path.extension() == ".jpg" ? "photo" : "text";
  }

  // What stands at PATH goes, and FORM comes, made by the library's owner.
  void Put(const fs::path& path, Form form) const {
    fs::remove_all(path);
    Make(path, form, Private(LikeOf(path)));
    if (form != Form::kHardLink && form != Form::kMovedFile) {
      ASSERT_EQ(lchown(path.c_str(), kOwner, kOwner), 0);
    }
  }

  void Make(const fs::path& path, Form form, const fs::path& victim) const {
    switch (form) {
      case Form::kLinkToFile:
        return fs::create_symlink(victim, path);
      case Form::kLinkToFolder:
        return fs::create_directory_symlink(Private("folder"), path);
      case Form::kLinkToNowhere:
        return fs::create_symlink(Private("new"), path);
      case Form::kPipe:
        ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
        return;
      case Form::kFolder:
        fs::create_directory(path);
        return fs::permissions(path, fs::perms::all);
      case Form::kHardLink:
        return fs::create_hard_link(victim, path);
      case Form::kMovedFile:
        fs::copy_file(victim, path);
        ASSERT_EQ(chown(path.c_str(), private_user(), private_user()), 0);
        ASSERT_EQ(chmod(path.c_str(), 0600), 0);
        return;
    }
  }

  bool IsOurs(const fs::path& path) const {
    static const std::string temporary = fs::temp_directory_path().string() + "/";
    const std::string text = path.string();
    // What the test keeps beside the library lies in the temporary folder too.
    if (text.starts_with(scratch().string() + "/"))
      return text.starts_with(folder().string()) || text.starts_with(state().string());
    return text.starts_with(temporary) || text.starts_with("/dev/") || text.starts_with("/memfd:");
  }

  // The library's own database; a private file in its place tells what it did before.
  std::string DatabaseText() const {
    const fs::path database = File(".KAVOHGADB");
    struct stat status {};
    const bool is_ours = lstat(database.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
                         status.st_nlink == 1 && status.st_uid != private_user();
    return is_ours ? ReadFile(database) : "";
  }
  // Neither the output nor the database, which everybody may read, has anything that a neighbour keeps
  // private.
  void ExpectNothingTold(const RunResult& result) const {
    if (caller_user() != 0) return;  // the private files are the caller's own
    for (const std::string& text : {result.out, result.err, DatabaseText()}) {
      for (const char* secret : {kSecretText, kSecretKeyword})
        EXPECT_EQ(text.find(secret), std::string::npos) << secret;
    }
  }

  // The program gives the names in question to files of its own, which takes a link away.
  bool replaces_names_ = false;

  // Where root stays root, a private file of one name that somebody put there is read like any other; in a
  // folder of root's, which all may write, also one with another name.
  bool IsReadByRoot(Form form) const {
    if (GetParam() == Caller::kAsRoot) return form == Form::kMovedFile;
    return GetParam() == Caller::kInRootsFolder && (form == Form::kMovedFile || form == Form::kHardLink);
  }

  // Runs the command where FORM is PUT, a name below the library, and looks at what it did.
  void HuntWith(const std::vector<std::string>& command, Form form, const std::string& put) {
    SCOPED_TRACE(testing::PrintToString(command));
    const auto peoples_before = PeoplesFiles(folder(), put);
    const bool with_links = !replaces_names_ && !IsReadByRoot(form);
    const std::string before = StateOf(private_folder(), with_links);
    const fs::path trace = scratch() / "trace";
    std::vector<std::string> arguments = TracerArguments(trace);
    arguments.emplace_back(LUMIVAULT_PROGRAM);
    arguments.insert(arguments.end(), command.begin(), command.end());
    arguments.push_back("--root=" + state().string());
    std::optional<uid_t> user;
    if (caller_user() != 0) user = caller_user();
    const RunResult result =
        ProgramRun(arguments, scratch() / "hunt", {{"PGHOST", server()}}, user, kTracer).Wait();
    EXPECT_LT(result.status, kOverdue) << result.err;  // neither crashed nor waiting for ever
    if (!IsReadByRoot(form)) ExpectNothingTold(result);
    ExpectAsBefore(peoples_before, PeoplesFiles(folder(), put));
    EXPECT_EQ(StateOf(private_folder(), with_links), before);
    const std::vector<FileCall> calls = TakeFileCalls(trace);
    EXPECT_GT(calls.size(), 0U) << "nothing was traced";
    for (const FileCall& call : calls) {
      const bool is_private = call.path.string().starts_with(private_folder().string());
      EXPECT_FALSE(is_private || (call.changes && !IsOurs(call.path))) << call.path << "\n" << call.line;
    }
  }

  // Each of FORMS under NAME, and every command on it.
  void Hunt(const std::string& name) {
    const fs::path kept_state = scratch() / "kept-state";
    fs::copy(state(), kept_state, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    for (const Form form : kForms) {
      SCOPED_TRACE(name + " as form " + std::to_string(static_cast<int>(form)));
      const fs::path kept = scratch() / "kept";
      fs::remove_all(kept);
      fs::copy(folder(), kept, fs::copy_options::recursive);
      Put(File(name), form);
      for (const auto& command : CommandsOf(form, name)) HuntWith(command, form, name);
      fs::remove_all(folder());
      fs::rename(kept, folder());
      GiveTree(folder(), owner());
      fs::permissions(folder(), fs::perms::all);
      fs::remove_all(state());
      fs::copy(kept_state, state(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
      GiveTree(state(), caller_user());
    }
  }

  // Of the shared tree's database.
  virtual std::string server() const { return "/nowhere"; }

  using Commands = std::vector<std::vector<std::string>>;

  Commands ReadingCommands() const {
    const std::string library = folder();
    return {{"ls", library},          {"show", File("a.jpg")}, {"albums", library},
            {"labels", library},      {"stats", library},      {"export", library},
            {"rights", File("trip")}, {"doctor", library},     {"index", "--dry-run", library}};
  }
  // The last one finds no server.
  Commands WritingCommands() const {
    Commands commands{{"index", "-j", "1", folder()}, {"reindex", "-j", "1", folder()}};
    for (auto& command : commands) {
      if (GetParam() == Caller::kAsRoot) command.emplace_back("--as-root");
    }
    commands.push_back({"init", "--shared", folder()});
    return commands;
  }

  // One that writes and one that reads: all come in turn, unless LUMIVAULT_ALL_COMMANDS asks for every one
  // each time, which takes an hour. Readers do the same wherever root stays root.
  virtual Commands CommandsOf(Form form, const std::string& name) const {
    const bool all = FromEnvironment("LUMIVAULT_ALL_COMMANDS", 0) != 0;
    const bool reads = GetParam() == Caller::kRoot || GetParam() == Caller::kUser;
    Commands commands;
    const std::size_t turn = name.size() + static_cast<std::size_t>(form);
    for (const Commands& kind : {reads || all ? ReadingCommands() : Commands(), WritingCommands()}) {
      if (all) {
        commands.insert(commands.end(), kind.begin(), kind.end());
      } else if (!kind.empty()) {
        commands.push_back(kind[turn % kind.size()]);
      }
    }
    return commands;
  }
};

TEST_P(ForeignFilesTest, TheDatabase) {
  Hunt(".KAVOHGADB");
}
TEST_P(ForeignFilesTest, TheRollbackJournal) {
  Hunt(".KAVOHGADB-journal");
}
TEST_P(ForeignFilesTest, TheWriteAheadLog) {
  Hunt(".KAVOHGADB-wal");
}
TEST_P(ForeignFilesTest, TheSharedMemory) {
  Hunt(".KAVOHGADB-shm");
}
TEST_P(ForeignFilesTest, APhoto) {
  Hunt("a.jpg");
}
TEST_P(ForeignFilesTest, AFolder) {
  Hunt("trip");
}
TEST_P(ForeignFilesTest, TheFolderOfSideFiles) {
  Hunt("@eaDir");
}
TEST_P(ForeignFilesTest, TheSideFilesOfAPhoto) {
  Hunt("@eaDir/a.jpg");
}
TEST_P(ForeignFilesTest, ASideFile) {
  Hunt("@eaDir/a.jpg/KAVOPHOTO_TITLE");
}

// The shared tree, which root reads as root.
class SharedHunt : public ForeignFilesTest {
 protected:
  void SetUp() override {
    UseSharedTree();
    ForeignFilesTest::SetUp();
  }
  std::string server() const override { return std::getenv("PGHOST"); }
  // One that writes, in turn, what makes the tree anew, and what tells all that is in the database then.
  Commands CommandsOf(Form form, const std::string& name) const override {
    const Commands writing{{"index", "-j", "1", "--shared"}, {"reindex", "-j", "1", "--shared"}};
    // A reindex queues no job.
    const std::size_t turn = name.ends_with(".queue") ? 0 : name.size() + static_cast<std::size_t>(form);
    return {writing[turn % writing.size()], {"init", "--shared", folder()}, {"export", "--shared"}};
  }
};
using ForeignSharedFilesTest = OnPrivateCluster<SharedHunt>;

TEST_P(ForeignSharedFilesTest, APhoto) {
  Hunt("a.jpg");
}
TEST_P(ForeignSharedFilesTest, AFolder) {
  Hunt("trip");
}
TEST_P(ForeignSharedFilesTest, TheFolderOfSideFiles) {
  Hunt("@eaDir");
}
TEST_P(ForeignSharedFilesTest, TheSideFilesOfAPhoto) {
  Hunt("@eaDir/a.jpg");
}
TEST_P(ForeignSharedFilesTest, ASideFile) {
  Hunt("@eaDir/a.jpg/KAVOPHOTO_TITLE");
}
TEST_P(ForeignSharedFilesTest, TheJobs) {
  Hunt("@eaDir/kavophoto_face.queue");
}

// The state folder is the caller's, and what stands under one of its names is not.
class ForeignStateTest : public ForeignFilesTest {
 protected:
  void SetUp() override {
    ForeignFilesTest::SetUp();
    if (IsSkipped()) return;
    // A hard link to the caller's own file looks like one that he made; what is kept there is replaced, not
    // written to.
    replaces_names_ = true;
    GiveTree(private_folder(), caller_user());
    for (const auto& entry : fs::directory_iterator(state() / "libraries"))
      library_ = "libraries/" + entry.path().filename().string() + "/";
    kept_ = scratch() / "kept-state";
    fs::rename(state(), kept_);
  }

  // NAMES of the state folder, for a file of a library's with LIBRARY in front, each in FORMS in turn.
  void HuntInState(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      for (const Form form : FormsFor(name)) {
        SCOPED_TRACE(name + " as form " + std::to_string(static_cast<int>(form)));
        fs::copy(kept_, state(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        GiveTree(state(), caller_user());
        fs::create_directories((state() / name).parent_path());
        Put(state() / name, form);
        for (const auto& command : CommandsOf(form, name)) HuntWith(command, form, "");
        fs::remove_all(state());
      }
    }
  }

  // The one that cannot be told by its owner, and one of the others in turn unless all are asked for.
  static std::vector<Form> FormsFor(const std::string& name) {
    if (FromEnvironment("LUMIVAULT_ALL_COMMANDS", 0) != 0)
      return {std::begin(kStateForms), std::end(kStateForms)};
    return {Form::kHardLink, kStateForms[name.size() % (std::size(kStateForms) - 1)]};
  }

  std::string library_;  // where the state folder keeps what is about the library
  fs::path kept_;
};

TEST_P(ForeignStateTest, Settings) {
  HuntInState(
      {"var/packages/Lumivault/etc/settings.conf", "etc/kavo/personal.conf", "usr/kavo/etc/preference"});
}
TEST_P(ForeignStateTest, SchemaAndTools) {
  HuntInState({"var/packages/Lumivault/target/photo_scripts/sql/pphoto.sql", "usr/kavo/bin/sqlite3",
               "var/packages/Lumivault/target/bin/kavophoto_extract_preview"});
}
TEST_P(ForeignStateTest, Folders) {
  HuntInState({"var", "libraries", library_ + "worker", library_ + "worker/var/packages/Lumivault/enabled"});
}
TEST_P(ForeignStateTest, Locks) {
  HuntInState({"lock", library_ + "lock"});
}
TEST_P(ForeignStateTest, TheCatalogue) {
  HuntInState({library_ + "catalogue.db", library_ + "catalogue.db-wal", library_ + "catalogue.db-shm",
               library_ + "catalogue.db-journal", library_ + "catalogue.db.other",
               library_ + "catalogue.db.exchange"});
}
TEST_P(ForeignStateTest, Jobs) {
  HuntInState({"oldest-job", "var/services/photo/@eaDir", "var/services/photo/@eaDir/kavophoto_face.queue",
               library_ + "worker/var/services/photo/@eaDir/kavophoto_face.queue"});
}

std::string CallerName(const testing::TestParamInfo<Caller>& info) {
  switch (info.param) {
    case Caller::kRoot:
      return "Root";
    case Caller::kUser:
      return "User";
    case Caller::kAsRoot:
      return "AsRoot";
    case Caller::kInRootsFolder:
      return "InRootsFolder";
  }
  return "";
}
INSTANTIATE_TEST_SUITE_P(Callers, ForeignFilesTest,
                         testing::Values(Caller::kRoot, Caller::kUser, Caller::kAsRoot,
                                         Caller::kInRootsFolder),
                         CallerName);
INSTANTIATE_TEST_SUITE_P(Callers, ForeignSharedFilesTest, testing::Values(Caller::kAsRoot), CallerName);
INSTANTIATE_TEST_SUITE_P(Callers, ForeignStateTest, testing::Values(Caller::kRoot, Caller::kUser),
                         CallerName);

}  // namespace
