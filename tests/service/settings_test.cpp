// Settings of the environment and of a file, and the command that prints them.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "settings/settings_file.h"
#include "support/media_maker.h"
#include "support/watch_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int kConfiguration = 4;
constexpr uid_t kStranger = 4711;

std::string Told(const SettingsFile& file) {
  std::string text;
  for (const SettingLine& line : file.settings)
    text += std::to_string(line.line) + " [" + line.key + "][" + line.value + "]\n";
  for (const SettingMistake& mistake : file.mistakes)
    text += std::to_string(mistake.line) + " " + mistake.text + "\n";
  return text;
}

TEST(SettingsFileTest, ALineIsASettingACommentOrNothing) {
  EXPECT_EQ(Told(ParseSettings("f", "# a=b\n\n  \t\r\njobs=2\n # c=d\npoll = 3\r\nlast=x=y")),
            "4 [jobs][2]\n6 [poll][3]\n7 [last][x=y]\n");
}

TEST(SettingsFileTest, OnePairOfQuotesGoes) {
  EXPECT_EQ(Told(ParseSettings("f", "a=\" b \"\nc=\"\"d\"\"\ne=\"\nf=\"g\nh=\n")),
            "1 [a][ b ]\n2 [c][\"d\"]\n3 [e][\"]\n4 [f][\"g]\n5 [h][]\n");
}

TEST(SettingsFileTest, EachLineThatIsNoneIsNamed) {
  using namespace std::string_literals;
  EXPECT_EQ(
      Told(ParseSettings("f", "jobs\n=2\nok=1\na\0b=1\n"s)),
      "3 [ok][1]\n1 neither key=value nor a comment\n2 neither key=value nor a comment\n4 has a NUL byte\n");
}

class SettingsTest : public WatchTest {
 protected:
  // The file of the runs from now on.
  fs::path Settings(const std::string& text) {
    const fs::path file = scratch() / "lumivault.conf";
    WriteFile(file, text);
    EXPECT_EQ(chmod(file.c_str(), 0644), 0);
    Environment("LUMIVAULT_CONFIG", file.string());
    return file;
  }
  std::string Config() {
    const RunResult result = Run({"config"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
  }
  // The first word of the line and its origin.
  std::string Line(const std::string& key) {
    std::istringstream text(Config());
    for (std::string line; std::getline(text, line);) {
      if (!line.starts_with(key + "=")) continue;
      const std::size_t blank = line.find("  ");
      return line.substr(0, blank) + " " + line.substr(line.find_first_not_of(' ', blank));
    }
    return "";
  }
  void ExpectRefused(const std::vector<std::string>& arguments, const std::string& line) {
    const RunResult result = Run(arguments);
    EXPECT_EQ(result.status, kConfiguration);
    EXPECT_EQ(result.err, "lumivault: " + line + "\n");
    EXPECT_EQ(result.out, "");
  }
};

TEST_F(SettingsTest, WithoutAnyTheDefaultsHold) {
  const std::string processors = std::to_string(sysconf(_SC_NPROCESSORS_ONLN));
  std::string expected;
  for (std::string line :
       {"jobs=" + processors, std::string("timeout=60"), std::string("worker_memory=512"),
        std::string("settle=0.1"), std::string("poll=300"), std::string("events=inotify")}) {
    line.resize(std::string("worker_memory=512").size() + 2, ' ');
    expected += line + "default\n";
  }
  EXPECT_EQ(Config(), expected);
}

TEST_F(SettingsTest, TheFileIsNamedWithTheLine) {
  const fs::path file = Settings("# for the attic\npoll=20\nlibrary=/a b\nlibrary=/c\n");
  EXPECT_EQ(Line("poll"), "poll=20 " + file.string() + ":2");
  EXPECT_EQ(Line("settle"), "settle=0.1 default");
  EXPECT_EQ(Line("library"), "library=/a b " + file.string() + ":3");
  EXPECT_NE(Config().find("library=/c         " + file.string() + ":4\n"), std::string::npos) << Config();
}

TEST_F(SettingsTest, TheEnvironmentComesBeforeTheFile) {
  Settings("jobs=3\nsettle=2\n");
  Environment("LUMIVAULT_JOBS", "5");
  Environment("LUMIVAULT_SETTLE", "");
  EXPECT_EQ(Line("jobs"), "jobs=5 LUMIVAULT_JOBS");
  EXPECT_TRUE(Line("settle").starts_with("settle=2 ")) << "an empty variable says nothing";
  Environment("LUMIVAULT_JOBS", "010");
  EXPECT_EQ(Line("jobs"), "jobs=8 LUMIVAULT_JOBS") << "as it is understood";
}

TEST_F(SettingsTest, TheCommandLineComesBeforeTheEnvironment) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Environment("LUMIVAULT_TIMEOUT", "never");
  const RunResult refused = Run({"index", folder()});
  EXPECT_EQ(refused.status, kConfiguration);
  EXPECT_TRUE(refused.err.starts_with("lumivault: LUMIVAULT_TIMEOUT: ")) << refused.err;
  EXPECT_EQ(Run({"index", folder(), "--timeout", "9", "--quiet"}).status, 0);
}

TEST_F(SettingsTest, OneOfTheFileReachesTheRun) {
  MakeJpeg(File("a.jpg"), 8, 8);
  UsePreviewTool("sleep 60");
  Settings("timeout=0.3\n");
  EXPECT_EQ(Run({"index", folder(), "--quiet"}).status, 3) << "the photo took too long";
}

TEST_F(SettingsTest, AMistakeEndsTheCommandWithItsLine) {
  const fs::path file = Settings("\njobs=0\n");
  ExpectRefused({"index", folder()}, file.string() + ":2: jobs: not a number from 1 to 256");
  ExpectRefused({"config"}, file.string() + ":2: jobs: not a number from 1 to 256");
  const RunResult json = Run({"index", folder(), "--json"});
  EXPECT_EQ(StrictJson(json.out)["status"].asInt(), kConfiguration);
}

TEST_F(SettingsTest, WhatOnlyReadsAsksNoFile) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Index();
  Settings("jobs=0\n");
  EXPECT_EQ(Run({"ls", folder()}).status, 0);
}

TEST_F(SettingsTest, ACheckNamesEveryMistakeInTheOrderOfTheLines) {
  const fs::path file = Settings(
      "jobs=2\nsettel=1\nno\nlibrary=photos\njobs=3\nevents=polling\npoll=often\nlibrary=/x\nlibrary=/y\n");
  const RunResult result = Run({"config", "check"});
  EXPECT_EQ(result.status, kConfiguration);
  const std::string at = "lumivault: " + file.string() + ":";
  EXPECT_EQ(result.err, at + "2: unknown setting settel\n" +                                            //
                            at + "3: neither key=value nor a comment\n" +                               //
                            at + "4: library: not the whole path of a folder, which begins with /\n" +  //
                            at + "5: jobs: set in line 1 already\n" +                                   //
                            at + "6: events: polling not in {inotify,fanotify}\n" +                     //
                            at + "7: poll: not a number from 1 to 86400\n");
}

TEST_F(SettingsTest, ACheckOfAGoodFileSaysSo) {
  const fs::path file = Settings("library=/x\nworker_memory=0\n");
  EXPECT_EQ(Run({"config", "check"}).out, file.string() + ": all is well\n");
  ForgetEnvironment("LUMIVAULT_CONFIG");
  Environment("HOME", scratch().string());
  const std::string none = geteuid() == 0 ? "/etc/lumivault/lumivault.conf"
                                          : (scratch() / ".config/lumivault/lumivault.conf").string();
  const bool lacks = !fs::exists(none);
  EXPECT_EQ(Run({"config", "check"}).out,
            none + (lacks ? ": there is no file of settings\n" : ": all is well\n"));
}

TEST_F(SettingsTest, AFileThatWasNamedMustBeThere) {
  Environment("LUMIVAULT_CONFIG", (scratch() / "none").string());
  ExpectRefused({"config"}, (scratch() / "none").string() + ": No such file or directory");
}

TEST_F(SettingsTest, WhatOthersMayChangeIsRefused) {
  const fs::path file = Settings("jobs=2\n");
  ASSERT_EQ(chmod(file.c_str(), 0646), 0);
  ExpectRefused({"config"}, file.string() + ": others may change it, so it is refused (chmod go-w)");
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(chmod(file.c_str(), 0664), 0);
  ExpectRefused({"config"}, file.string() + ": others may change it, so it is refused (chmod go-w)");
  ASSERT_EQ(chmod(file.c_str(), 0644), 0);
  ASSERT_EQ(chown(file.c_str(), kStranger, kStranger), 0);
  ExpectRefused({"config"}, file.string() + ": belongs to somebody else, so it is refused");
}

TEST_F(SettingsTest, WhatIsNoFileIsNamed) {
  const fs::path pipe = scratch() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const fs::path& path : {pipe, scratch()}) {
    Environment("LUMIVAULT_CONFIG", path.string());
    ExpectRefused({"config"}, path.string() + ": not a regular file");
  }
  const fs::path file = Settings(std::string((1U << 20U) + 1, '\n'));
  ExpectRefused({"config"}, file.string() + ": larger than 1 MiB");
  Settings(std::string(1U << 20U, '\n'));
  EXPECT_EQ(Run({"config"}).status, 0);
}

TEST_F(SettingsTest, EachPersonHasAFileOfTheirOwn) {
  WriteFile(scratch() / "config/lumivault/lumivault.conf", "poll=7\n");
  WriteFile(scratch() / "home/.config/lumivault/lumivault.conf", "poll=8\n");
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  ForgetEnvironment("LUMIVAULT_CONFIG");
  Environment("HOME", (scratch() / "home").string());
  EXPECT_TRUE(Line("poll").starts_with("poll=8 ")) << Line("poll");
  Environment("XDG_CONFIG_HOME", (scratch() / "config").string());
  EXPECT_TRUE(Line("poll").starts_with("poll=7 ")) << Line("poll");
  Environment("XDG_CONFIG_HOME", (scratch() / "lacks").string());
  EXPECT_EQ(Line("poll"), "poll=300 default");
  Environment("XDG_CONFIG_HOME", (scratch() / "config/lumivault/lumivault.conf").string());
  EXPECT_EQ(Line("poll"), "poll=300 default") << "no folder";
  ASSERT_EQ(chmod((scratch() / "config").c_str(), 0), 0);
  Environment("XDG_CONFIG_HOME", (scratch() / "config").string());
  EXPECT_EQ(Line("poll"), "poll=300 default") << "out of reach";
}

TEST_F(SettingsTest, AnOrdinaryPersonsFileMayBeRootsAndTheGroups) {
  const fs::path file = Settings("poll=7\n");
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  ASSERT_EQ(chmod(file.c_str(), 0664), 0);
  EXPECT_TRUE(Line("poll").starts_with("poll=7 "));
  ASSERT_EQ(chmod(file.c_str(), 0666), 0);
  ExpectRefused({"config"}, file.string() + ": others may change it, so it is refused (chmod go-w)");
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(chmod(file.c_str(), 0644), 0);
  ASSERT_EQ(chown(file.c_str(), 0, 0), 0);
  EXPECT_TRUE(Line("poll").starts_with("poll=7 ")) << "root's";
  ASSERT_EQ(chown(file.c_str(), kStranger, kStranger), 0);
  ExpectRefused({"config"}, file.string() + ": belongs to somebody else, so it is refused");
}

TEST_F(SettingsTest, TheStateFoldersMemoryHoldsWhereNothingElseDoes) {
  EXPECT_EQ(Line("worker_memory"), "worker_memory=512 default");
  const fs::path settings = state() / "var/packages/Lumivault/etc/settings.conf";
  WriteFile(settings, "worker_memory=\"300\"\n");
  EXPECT_EQ(Line("worker_memory"), "worker_memory=300 " + settings.string());
  WriteFile(settings, "worker_memory=\"512\"\n");
  EXPECT_EQ(Line("worker_memory"), "worker_memory=512 " + settings.string());
  const fs::path file = Settings("worker_memory=400\n");
  EXPECT_EQ(Line("worker_memory"), "worker_memory=400 " + file.string() + ":1");
  EXPECT_EQ(StrictJson(Run({"doctor", "--json"}).out)["worker_memory"].asInt(), 400);
}

TEST_F(SettingsTest, TheDoctorTellsOfAMistake) {
  const fs::path file = Settings("jobs=0\n");
  const RunResult result = Run({"doctor"});
  EXPECT_EQ(result.status, kConfiguration);
  EXPECT_TRUE(result.out.ends_with("settings: " + file.string() +
                                   ":1: jobs: not a number from 1 to 256\n"
                                   "  lumivault config check names every mistake\n"))
      << result.out;
  EXPECT_TRUE(StrictJson(Run({"doctor", "--json"}).out)["worker_memory"].isNull());
}

TEST_F(SettingsTest, WhereTheStateFolderIsRefusedTheSettingsAreToldAllTheSame) {
  fs::create_directories(state());
  ASSERT_EQ(chmod(state().c_str(), 0777), 0);
  ASSERT_EQ(Run({"doctor"}).status, kConfiguration);
  EXPECT_EQ(Line("worker_memory"), "worker_memory=512 default");
}

TEST_F(SettingsTest, ACheckForProgramsIsJson) {
  const fs::path file = Settings("jobs=2\nno\n");
  const RunResult result = Run({"config", "check", "--json"});
  EXPECT_EQ(result.status, kConfiguration);
  const Json::Value json = StrictJson(result.out);
  EXPECT_EQ(json["file"].asString(), file.string());
  ASSERT_EQ(json["mistakes"].size(), 1U);
  EXPECT_EQ(json["mistakes"][0]["line"].asInt(), 2);
  EXPECT_EQ(json["mistakes"][0]["text"].asString(), "neither key=value nor a comment");
  Settings("jobs=2\n");
  const RunResult good = Run({"config", "check", "--json"});
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(StrictJson(good.out)["mistakes"].size(), 0U);
}

TEST_F(SettingsTest, ProgramsGetJson) {
  const fs::path file = Settings("library=/x\n");
  const Json::Value json = StrictJson(Run({"config", "--json"}).out);
  EXPECT_EQ(json["schema_version"].asInt(), 1);
  EXPECT_EQ(json["file"].asString(), file.string());
  EXPECT_EQ(json["settings"].size(), 7U);
  EXPECT_EQ(json["settings"][0]["key"].asString(), "library");
  EXPECT_EQ(json["settings"][0]["value"].asString(), "/x");
  EXPECT_EQ(json["settings"][0]["origin"].asString(), file.string() + ":1");
}

TEST_F(SettingsTest, FoldersOfTheFileAreWatchedWhereNoneIsNamed) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Settings("library=" + folder().string() + "\n");
  watch_ = Start({"watch", "--json"});
  EXPECT_TRUE(Eventually([&] { return !News("watching").empty(); })) << watch_->err();
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "1");
}

TEST_F(SettingsTest, AFolderThatIsNamedIsWatchedAlone) {
  MakeJpeg(File("a.jpg"), 8, 8);
  MakeJpeg(scratch() / "other/b.jpg", 8, 8);
  Settings("library=" + (scratch() / "other").string() + "\n");
  Watch();
  EXPECT_TRUE(Eventually([&] { return !News("watching").empty(); }));
  ASSERT_EQ(StopWatch().status, 128 + SIGTERM);
  EXPECT_FALSE(fs::exists(scratch() / "other/.KAVOHGADB"));
}

TEST_F(SettingsTest, AWatchOfNoFolderIsRefused) {
  const RunResult result = Run({"watch"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err,
            "lumivault: no folder is named, neither here nor by library= in the file of settings\n");
}

}  // namespace
