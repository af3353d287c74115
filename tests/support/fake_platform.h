// Substitutes of the platform for tests of the plug-in's logic. Everything but files is in memory, answers
// what the test has set, and records the calls, so that a test can also say what was not done.
#ifndef TESTS_SUPPORT_FAKE_PLATFORM_H_
#define TESTS_SUPPORT_FAKE_PLATFORM_H_

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

struct FakePlatform {
  // The one instance; Reset gives it the state below again (call it in SetUp).
  static FakePlatform& Get();
  static void Reset();

  // Every call as "Name(argument, argument)": the text arguments as they stand ("NULL" for null) and the
  // numbers, without handles and outputs: "KAVODBConnect(NULL, postgres, NULL, photo)", "KAVODBExecute(select
  // ...)". A program is recorded once, when it is run: "RLIBCExec(program argument ...)",
  // "ProcessRunner(program argument ...)".
  std::vector<std::string> calls;
  // How many recorded calls begin with PREFIX.
  int Count(const std::string& prefix) const;

  // Functions that fail (by name: "KAVOEAPath", "RLIBCSzListAlloc", "KAVODBConnect", "KAVODBEscapeStringEX3",
  // ...).
  std::set<std::string> failing;
  // Function -> the one call of it that fails, counted from 1 since Reset.
  std::map<std::string, int> failing_at;

  // Function and its answer (0, 1, -1) -> what it answers instead, for contracts that leave more than one
  // number: {{"RLIBCFileExist", 1}, 2}. What it does stays the same.
  std::map<std::pair<std::string, int>, int> instead;

  // --- Files: real ones. RLIBCFileExist, IsFileExist, KAVOBeneath* and the lock act on the real file system
  // without any protection (KAVOBeneath* do refuse a path that does not begin with their root);
  // KAVOFixedPathGet puts `root` in front of the path.
  std::string root;
  // Replaces the opening of KAVOBeneathOpen, whose descriptor it gives.
  std::function<int(const char* path)> beneath_open;
  // key=value files: file -> key -> value (file as the plug-in names it, after KAVOFixedPathGet).
  std::map<std::string, std::map<std::string, std::string>> key_values;

  // Sets `root` to BASE/root (a folder of the test's own), switches the package on and makes what a personal
  // request of USER needs, its database file (empty) included. The photo folder, BASE/homes/USER/photo.
  std::string AddPersonalLibrary(const std::string& base, const std::string& user);
  // The same for the shared tree: the folder BASE/photo, the target of the shared link and of the share
  // "photo". The fixture calls ResetPhotoDirForTest() (photo_util/photo_dir.h) itself.
  std::string AddSharedLibrary(const std::string& base);

  // --- Users and shares.
  std::map<std::string, std::string> personal_folders;     // user -> photo folder; paths in it are personal
  std::map<std::string, std::string> preference_dirs;      // user -> folder
  std::map<std::string, std::string> shares;               // name -> path
  std::map<std::string, int> album_default_right;          // user -> public flag
  std::map<std::string, std::pair<int, int>> resolutions;  // image -> width, height
  std::set<std::string> remote_paths;
  std::map<std::string, std::string> convert_types;  // converted file name -> type
  // Kinds of media by extension, in lower case.
  std::set<std::string> photo_extensions = {"jpg", "jpeg", "jpe",  "png", "gif",
                                            "bmp", "tif",  "tiff", "nef", "dng"};
  std::set<std::string> web_video_extensions = {"mp4", "m4v", "flv"};
  std::set<std::string> video_extensions = {"mp4", "m4v", "flv", "avi", "mkv", "mov", "mpg", "wmv"};

  // --- Programs: the first entry whose key is a part of the command line ("program arg arg") answers: status
  // (negative: it could not be run) and output. Without one a program cannot be run (-1).
  std::vector<std::pair<std::string, std::pair<int, std::string>>> programs;
  // Called with every command line before it answers, to do what the program would have done.
  std::function<void(const std::string& command)> on_program;

  // --- Database: the first answer whose `match` is a part of the statement is used, and again for the next
  // one; without one a statement succeeds with no rows and no rows changed.
  struct Answer {
    std::string match;
    int result = 0;                                             // -1: fails
    std::vector<std::map<std::string, std::string>> rows = {};  // an absent column reads as null
    int affected = 0;
    bool fetch_fails = false;  // rows are counted but cannot be fetched
    bool once = false;         // used once only
  };
  std::vector<Answer> answers;
  std::string database_error = "the error";
  // What KAVODBDatabaseTypeGet tells of every connection instead of its own type.
  std::optional<int> database_type;
  // The statements that were sent, as they were sent (placeholders filled without escaping), and open
  // handles.
  std::vector<std::string> statements;
  // The number of the connection that each of them was sent over, counted from 1 since Reset.
  std::vector<int> sent_over;
  // Those of them that succeeded without being asked for a result.
  std::vector<std::string> without_result;
  int open_connections = 0;
  int connections = 0;  // ever opened
  // What KAVODBBatchMark answers.
  int pending_removals = 0;
  int open_results = 0;

  // --- Text. What is not UTF-8 is read as Latin-1. The last platform error is fixed.
  static constexpr int kErrorCode = 0x2A00;
  static constexpr const char* kErrorFile = "platform.c";
  static constexpr int kErrorLine = 7;
};

#endif  // TESTS_SUPPORT_FAKE_PLATFORM_H_
