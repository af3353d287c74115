#include <gmock/gmock.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <sstream>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

constexpr std::array kCommands = {"index",  "init",  "reindex", "show",   "ls",    "albums",
                                  "labels", "stats", "export",  "rights", "doctor"};

class CliTest : public ServiceTest {
 protected:
  void MakeLibrary() {
    MakeJpeg(File("b.jpg"), 16, 8, {{"Exif.Photo.DateTimeOriginal", "2024:05:06 07:08:09"}});
    MakeJpeg(File("new\nline.jpg"), 8, 8);
    MakeJpeg(File("2024/100%_c.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
    MakeJpeg(File("2024/deep/d.jpg"), 8, 8);
    MakeJpeg(File("2024x/e.jpg"), 8, 8);
    Index();
  }

  // A command line that is wrong: status 2 and one line.
  void ExpectUsageError(const std::vector<std::string>& arguments) {
    const RunResult result = Run(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.starts_with("lumivault: ")) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
};

using Lines = std::vector<std::string>;

// The rows of the readme's table of exit statuses, as a help text has them.
Lines DocumentedStatuses() {
  std::ifstream document(LUMIVAULT_README);
  Lines rows;
  std::string section;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with('#')) section = line;
    if (section != "### Exit statuses" || !line.starts_with("| ") || line.find_first_of("0123456789") != 2)
      continue;
    std::erase(line, '`');
    std::string row = line.substr(2, line.size() - 4);
    rows.push_back(row.replace(row.find(" | "), 3, " "));
  }
  return rows;
}

// Those in HELP, each on one line again.
Lines StatusesIn(const std::string& help) {
  std::istringstream text(help);
  Lines rows;
  std::string line;
  while (std::getline(text, line) && line != "Exit status:") continue;
  while (std::getline(text, line) && line.starts_with("  ")) {
    EXPECT_LE(line.size(), 79U) << line;
    if (line.starts_with("      ")) {
      rows.back() += line.substr(5);
    } else {
      rows.push_back(line.substr(2));
    }
  }
  return rows;
}

// Those that begin with one of the NUMBERS.
Lines Numbered(const Lines& rows, const std::vector<std::string>& numbers) {
  Lines chosen;
  for (const std::string& row : rows) {
    if (std::find(numbers.begin(), numbers.end(), row.substr(0, row.find_first_of(" ,"))) != numbers.end())
      chosen.push_back(row);
  }
  return chosen;
}

// What a run of the program prints when both its outputs are a terminal.
std::string OnTerminal(std::vector<std::string> arguments) {
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    std::vector<char*> argv{const_cast<char*>(LUMIVAULT_PROGRAM)};
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    execv(LUMIVAULT_PROGRAM, argv.data());
    _exit(127);
  }
  std::string text;
  std::array<char, 4096> bytes{};
  for (ssize_t count = 0; (count = read(terminal, bytes.data(), bytes.size())) > 0;) {
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  return text;
}

TEST_F(CliTest, WhatIsNoNumberOrOutOfRangeIsNamedWithTheRange) {
  for (const char* value : {"0", "257", "-1", "two", "1x", ""}) {
    EXPECT_EQ(Run({"index", folder(), std::string("--jobs=") + value}).err,
              "lumivault: --jobs: not a number from 1 to 256 (see lumivault --help)\n")
        << value;
  }
  for (const char* value : {"0.0009", "86400.1", "nan", "inf", "soon"}) {
    EXPECT_EQ(Run({"index", folder(), "--timeout", value}).err,
              "lumivault: --timeout: not a number from 0.001 to 86400 (see lumivault --help)\n")
        << value;
  }
}

TEST_F(CliTest, TheVersionIsOneLine) {
  const RunResult result = Run({"--version"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.substr(0, 10), "lumivault ");
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1);
}

TEST_F(CliTest, HelpNamesTheCommandsAndHidesTheWorker) {
  const RunResult result = Run({"--help"});
  EXPECT_EQ(result.status, 0);
  for (const char* name : kCommands) {
    EXPECT_NE(result.out.find("\n  " + std::string(name) + " "), std::string::npos) << name;
  }
  EXPECT_EQ(result.out.find("worker"), std::string::npos);
}

TEST_F(CliTest, HelpHasTheExitStatuses) {
  const Lines statuses = DocumentedStatuses();
  ASSERT_EQ(statuses.size(), 9U);
  EXPECT_EQ(StatusesIn(Run({"--help"}).out), statuses);
}

TEST_F(CliTest, TheCommandsWithoutADatabaseDoNotTellOfOne) {
  const Lines statuses = DocumentedStatuses();
  EXPECT_EQ(StatusesIn(Run({"watch", "--help"}).out), Numbered(statuses, {"1", "2", "4", "129"}));
  EXPECT_EQ(StatusesIn(Run({"config", "--help"}).out), Numbered(statuses, {"0", "1", "2", "4", "129"}));
}

TEST_F(CliTest, EveryCommandHasHelpWithTheExitStatusesThatItCanHave) {
  const Lines statuses = DocumentedStatuses();
  const std::map<std::string, Lines> further = {
      {"index", {"3", "6", "7"}}, {"reindex", {"3", "6", "7"}}, {"init", {"6"}}};
  for (const char* command : kCommands) {
    const RunResult result = Run({command, "--help"});
    EXPECT_EQ(result.status, 0) << command;
    EXPECT_EQ(result.out.find("--json") == std::string::npos, std::string(command) == "export") << command;
    EXPECT_NE(result.out.find("--root"), std::string::npos) << command;
    EXPECT_NE(result.out.find("\nUsage: lumivault " + std::string(command) + " [OPTIONS]"), std::string::npos)
        << result.out;
    Lines numbers = {"0", "1", "2", "4", "5", "129"};
    if (const auto found = further.find(command); found != further.end())
      numbers.insert(numbers.end(), found->second.begin(), found->second.end());
    EXPECT_EQ(StatusesIn(result.out), Numbered(statuses, numbers)) << command;
  }
}

TEST_F(CliTest, HelpIsACommandToo) {
  EXPECT_EQ(Run({"help"}).out, Run({"--help"}).out);
  EXPECT_EQ(Run({"help", "ls"}).out, Run({"ls", "--help"}).out);
  EXPECT_NE(Run({"ls", "--help"}).out, Run({"--help"}).out);
  EXPECT_EQ(Run({"help", "fly"}).err, "lumivault: unknown command fly (see lumivault --help)\n");
}

TEST_F(CliTest, AWrongCommandLineIsOneLineAndStatusTwo) {
  ExpectUsageError({});
  ExpectUsageError({"fly"});
  ExpectUsageError({"index"});
  ExpectUsageError({"index", "a", "b"});
  ExpectUsageError({"index", "a", "--fly"});
  ExpectUsageError({"index", "a", "-j", "0"});
  ExpectUsageError({"index", "a", "-j", "many"});
  ExpectUsageError({"index", "a", "--timeout", "-1"});
  ExpectUsageError({"show"});
  ExpectUsageError({"ls"});
}

TEST_F(CliTest, AFolderThatIsNotThereIsAWrongCommandLine) {
  ExpectUsageError({"index", scratch() / "missing"});
  WriteFile(scratch() / "file", "x");
  ExpectUsageError({"index", scratch() / "file"});
}

TEST_F(CliTest, WhatIsWrongIsNamed) {
  ProgramRun bare({}, scratch() / "bare", {}, std::nullopt);
  EXPECT_EQ(bare.Wait().err, "lumivault: a command is missing (see lumivault --help)\n");
  EXPECT_EQ(Run({"fly"}).err, "lumivault: unknown command fly (see lumivault --help)\n");
  EXPECT_EQ(Run({"--fly"}).err, "lumivault: unknown option --fly (see lumivault --help)\n");
  EXPECT_EQ(
      Run({"--fly", "index", folder()}).err,
      "lumivault: unknown option --fly; the options of a command come after it (see lumivault --help)\n");
  const RunResult nothing = Run({"show", ""});
  EXPECT_EQ(nothing.status, 2);
  EXPECT_EQ(nothing.err, "lumivault: show needs a file name\n");
}

TEST_F(CliTest, ClosedStandardDescriptorsGetNothingOfOthers) {
  MakeJpeg(File("a.jpg"), 8, 8);
  const std::string root = "--root=" + state().string();
  const pid_t child = fork();
  if (child == 0) {
    for (int number = 0; number <= STDERR_FILENO; ++number) close(number);
    execl(LUMIVAULT_PROGRAM, LUMIVAULT_PROGRAM, "index", folder().c_str(), root.c_str(), nullptr);
    _exit(127);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);  // nobody saw the result
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "1");
  int files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(scratch())) {
    if (!entry.is_regular_file()) continue;
    EXPECT_EQ(ReadFile(entry.path()).find("found 1"), std::string::npos) << entry.path();
    ++files;
  }
  EXPECT_GT(files, 0);
}

TEST_F(CliTest, AFolderInsideALibraryIsRefused) {
  MakeLibrary();
  ExpectUsageError({"index", folder() / "2024"});
  ExpectUsageError({"index", scratch()});
}

TEST_F(CliTest, FoldersNamedLikeCommandsAndOptionsAreFolders) {
  MakeJpeg(scratch() / "ls/a.jpg", 8, 8);
  MakeJpeg(scratch() / "-x/a.jpg", 8, 8);
  const fs::path before = fs::current_path();
  fs::current_path(scratch());
  EXPECT_EQ(Run({"index", "--quiet", "ls"}).status, 0);
  EXPECT_EQ(Run({"ls", "ls"}).status, 0);
  EXPECT_EQ(Run({"index", "--quiet", "--root=" + state().string(), "--", "-x"}).status, 2);  // two --root
  EXPECT_EQ(Run({"index", "--quiet", "./-x"}).status, 0);
  fs::current_path(before);
}

TEST_F(CliTest, ShowPrintsTheRowWithLabelsAndAlbum) {
  MakeLibrary();
  const RunResult result = Run({"show", File("2024/100%_c.jpg"), "--json"});
  EXPECT_EQ(result.status, 0) << result.err;
  const Json::Value json = StrictJson(result.out);
  EXPECT_EQ(json["kind"].asString(), "photo");
  EXPECT_EQ(json["path"].asString(), File("2024/100%_c.jpg").string());
  EXPECT_EQ(json["library"].asString(), folder().string());
  EXPECT_EQ(json["row"]["path"].asString(), "2024/100%_c.jpg");
  EXPECT_EQ(json["row"]["resolutionx"].asInt(), 8);
  EXPECT_TRUE(json["row"]["lat"].isNull());
  EXPECT_EQ(json["album"]["name"].asString(), "2024");
  ASSERT_EQ(json["labels"].size(), 1U);
  EXPECT_EQ(json["labels"][0]["name"].asString(), "sea");
  EXPECT_EQ(json["people"].size(), 0U);
}

TEST_F(CliTest, TheTextOfShowHasALineForEachValue) {
  MakeLibrary();
  const std::string file = File("2024/100%_c.jpg");
  Query("UPDATE photo_image SET timetaken = 'then', create_time = 'now' WHERE path LIKE '2024/%'");
  const RunResult result = Run({"show", file});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "file: " + file + "\nkind: photo\nid: " +
                            Value("SELECT id FROM photo_image WHERE path LIKE '2024/100%'") +
                            "\npath: 2024/100%_c.jpg\nname: 100%_c.jpg\ntitle: 100%_c\nalbum: 2024\nsize: " +
                            std::to_string(fs::file_size(file)) +
                            "\nresolutionx: 8\nresolutiony: 8\niso: 0\ntimetaken: then\nupdated: 1\n"
                            "create_time: now\nversion: 0\ndisabled: f\nshareid: 2\nprivilege_shareid: 2\n"
                            "rotation: 1\nalbum name: 2024\nlabels: sea\n");
}

TEST_F(CliTest, ShowTellsPeopleFromOtherLabels) {
  MakeLibrary();
  Query("INSERT INTO photo_label (id, category, name) VALUES (70, 0, 'Ann')");
  Query(
      "INSERT INTO photo_image_label (image_id, label_id, info_new, status) "
      "SELECT id, 70, 'face', 't' FROM photo_image WHERE path = 'b.jpg'");
  const Json::Value json = StrictJson(Run({"show", File("b.jpg"), "--json"}).out);
  ASSERT_EQ(json["people"].size(), 1U);
  EXPECT_EQ(json["people"][0]["name"].asString(), "Ann");
  EXPECT_EQ(json["people"][0]["info"].asString(), "face");
  EXPECT_TRUE(json["people"][0]["confirmed"].asBool());
  Query("UPDATE photo_image_label SET status = 'f' WHERE label_id = 70");
  const Json::Value unsure = StrictJson(Run({"show", File("b.jpg"), "--json"}).out);
  EXPECT_FALSE(unsure["people"][0]["confirmed"].asBool());
  EXPECT_NE(Run({"show", File("b.jpg")}).out.find("\npeople: Ann\n"), std::string::npos);
}

TEST_F(CliTest, ShowOfAFileThatIsGoneStillHasItsRow) {
  MakeLibrary();
  fs::remove(File("b.jpg"));
  const RunResult result = Run({"show", File("b.jpg")});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("\ntimetaken: 2024-05-06 07:08:09\n"), std::string::npos);
}

TEST_F(CliTest, ShowOfWhatIsNotIndexedIsOneLineAndStatusOne) {
  MakeLibrary();
  const RunResult unknown = Run({"show", File("unknown.jpg")});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.err, "lumivault: " + File("unknown.jpg").string() + ": not indexed\n");
  WriteFile(scratch() / "a.jpg", "");
  const RunResult outside = Run({"show", scratch() / "a.jpg"});
  EXPECT_EQ(outside.status, 1);
  EXPECT_EQ(outside.err, "lumivault: " + (scratch() / "a.jpg").string() +
                             ": lies in no library; lumivault index makes one of a folder\n");
}

TEST_F(CliTest, ShowOfAFolderNamesTheCommandForIt) {
  MakeLibrary();
  for (const fs::path& shown : {folder(), File("2024"), File("2024/deep")}) {
    const RunResult result = Run({"show", shown});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "lumivault: " + shown.string() + ": is a folder; lumivault ls lists it\n");
  }
}

TEST_F(CliTest, AFolderNamedLikeAStatementChangesNothing) {
  MakeLibrary();
  EXPECT_EQ(Run({"show", File("x'; DELETE FROM photo_image; --")}).status, 1);
  EXPECT_EQ(Run({"ls", File("x'; DELETE FROM photo_image; --")}).status, 1);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "5");
}

TEST_F(CliTest, LsListsWhatLiesDirectlyInAFolder) {
  MakeLibrary();
  const Json::Value list = StrictJson(Run({"ls", folder(), "--json"}).out);
  ASSERT_EQ(list.size(), 4U);
  EXPECT_EQ(list[0]["kind"].asString() + " " + list[0]["name"].asString(), "album 2024");
  EXPECT_EQ(list[1]["name"].asString(), "2024x");
  EXPECT_EQ(list[2]["name"].asString(), "b.jpg");
  EXPECT_EQ(list[2]["kind"].asString(), "photo");
  EXPECT_EQ(list[2]["taken"].asString(), "2024-05-06 07:08:09");
  EXPECT_EQ(list[2]["width"].asInt(), 16);
  EXPECT_EQ(list[2]["height"].asInt(), 8);
  EXPECT_EQ(list[2]["size"].asUInt64(), fs::file_size(File("b.jpg")));
  EXPECT_EQ(list[3]["name"].asString(), "new\nline.jpg");
}

TEST_F(CliTest, TheTextOfLsHasALineForEachEntry) {
  MakeLibrary();
  Query("UPDATE photo_image SET resolutionx = NULL, timetaken = NULL WHERE path LIKE 'new%'");
  EXPECT_EQ(Run({"ls", folder()}).out,
            "album\t\t\t\t2024\nalbum\t\t\t\t2024x\nphoto\t2024-05-06 07:08:09\t" +
                std::to_string(fs::file_size(File("b.jpg"))) + "\t16x8\tb.jpg\nphoto\t\t" +
                std::to_string(fs::file_size(File("new\nline.jpg"))) + "\t\tnew\nline.jpg\n");
}

TEST_F(CliTest, LsOfASubFolderLeavesItsNeighboursOut) {
  MakeLibrary();
  const Json::Value list = StrictJson(Run({"ls", folder() / "2024", "--json"}).out);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0]["name"].asString(), "deep");
  EXPECT_EQ(list[1]["name"].asString(), "100%_c.jpg");
}

TEST_F(CliTest, LsOfAnUnknownFolderIsOneLineAndStatusOne) {
  MakeLibrary();
  const RunResult result = Run({"ls", folder() / "unknown"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "lumivault: " + (folder() / "unknown").string() + ": no indexed folder\n");
}

TEST_F(CliTest, NamesAreRawForProgramsAndVisibleOnATerminal) {
  MakeLibrary();
  EXPECT_NE(Run({"ls", folder()}).out.find("\tnew\nline.jpg\n"), std::string::npos);
  const std::string root = "--root=" + state().string();
  EXPECT_NE(OnTerminal({"ls", folder(), root}).find("\tnew\\nline.jpg\r\n"), std::string::npos);
}

TEST_F(CliTest, ATerminalGetsALineThatIsRedrawn) {
  for (int i = 0; i < 300; ++i) MakeJpeg(File("album/" + std::to_string(i) + ".jpg"), 8, 8);
  Environment("TERM", "xterm");
  const std::string text = OnTerminal({"index", folder(), "-j", "1", "--root=" + state().string()});
  EXPECT_NE(text.find("\r"), std::string::npos);
  EXPECT_NE(text.find(" of 300"), std::string::npos) << text;
  EXPECT_NE(text.find("\033[K"), std::string::npos);
  EXPECT_NE(text.find("found 300, added 300"), std::string::npos);
}

TEST_F(CliTest, StandardOutputCarriesTheResultAlone) {
  MakeJpeg(File("a.jpg"), 8, 8);
  const RunResult quiet = Run({"index", folder(), "--quiet"});
  EXPECT_EQ(quiet.err, "");
  EXPECT_TRUE(quiet.out.starts_with(folder().string() + ": found 1"));
  EXPECT_EQ(Run({"index", folder()}).err, "");  // shorter than the first progress line
}

TEST_F(CliTest, TheStateFolderFollowsTheEnvironment) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Environment("XDG_STATE_HOME", (scratch() / "xdg").string());
  ProgramRun run({"index", folder(), "--quiet"}, scratch() / "run",
                 {{"XDG_STATE_HOME", (scratch() / "xdg").string()}}, std::nullopt);
  EXPECT_EQ(run.Wait().status, 0);
  EXPECT_TRUE(fs::exists(scratch() / "xdg/lumivault/etc/kavo/personal.conf"));
}

TEST_F(CliTest, AWorkerStartedByHandRefuses) {
  for (const char* arguments : {"", " x / 1:2 1"}) {
    const std::string messages = scratch() / "messages";
    const std::string command =
        std::string(LUMIVAULT_WORKER) + arguments + " 2>'" + messages + "' 3>&- 4>&- 5>&-";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 2) << command;
    EXPECT_EQ(ReadFile(messages), "lumivault-worker: only lumivault starts it\n");
  }
}

TEST_F(CliTest, AProgramWithoutItsWorkerProgramSaysSo) {
  MakeJpeg(File("a.jpg"), 8, 8);
  fs::remove(UseCopyOfProgram() / "lumivault-worker");
  const RunResult result = Run({"index", folder()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "lumivault: lumivault-worker: not found beside the program; install Lumivault again\n");
  EXPECT_FALSE(fs::exists(folder() / ".KAVOHGADB"));
}

// What reads media costs a hundred libraries, a third of the time of a run that finds nothing to do.
TEST_F(CliTest, TheProgramLinksNothingThatReadsMedia) {
  const std::string list = scratch() / "libraries";
  const std::string command = "LC_ALL=C readelf -d " LUMIVAULT_PROGRAM " | grep NEEDED >'" + list + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_NE(ReadFile(list).find("libkavoplatform.so"), std::string::npos);
  for (const char* library : {"libav", "libexiv2"})
    EXPECT_EQ(ReadFile(list).find(library), std::string::npos) << library;
}

// Each would turn the direction, break a line or hide a difference.
TEST_F(CliTest, NoNameTurnsOrBreaksALineOfATerminal) {
  const std::array<std::string, 8> unseen{"\u202e", "\u2066",     "\u2028", "\u200b",
                                          "\u200d", "\U000e0041", "\u061c", "\u009b"};
  for (const std::string& character : unseen) {
    MakeJpeg(File("in" + character + "side/a" + character + "gpj.jpg"), 8, 8,
             {{"Iptc.Application2.Keywords", "k" + character + "x"},
              {"Exif.Image.Make", "Ma" + character + "ker"}});
    WriteFile(File("em" + character + "pty.jpg"), "");
  }
  const std::string root = "--root=" + state().string();
  const std::string inside = folder() / ("in" + unseen[0] + "side");
  std::string shown;
  for (const std::vector<std::string>& command :
       std::initializer_list<std::vector<std::string>>{{"index", folder()},
                                                       {"index", "--failed", folder()},
                                                       {"ls", inside},
                                                       {"albums", folder()},
                                                       {"labels", folder()},
                                                       {"rights", inside},
                                                       {"show", inside + "/a" + unseen[0] + "gpj.jpg"},
                                                       {"show", inside + "/nothing"}}) {
    for (const char* form : {"", "--json"}) {
      std::vector<std::string> arguments = command;
      arguments.push_back(root);
      if (*form != '\0') arguments.emplace_back(form);
      shown += OnTerminal(arguments);
    }
  }
  for (const std::string& character : unseen) EXPECT_EQ(shown.find(character), std::string::npos) << shown;
  EXPECT_NE(shown.find("a\\xe2\\x80\\xaegpj.jpg"), std::string::npos);
  EXPECT_NE(shown.find("a\\u202egpj.jpg"), std::string::npos);
}

}  // namespace
