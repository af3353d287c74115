// What other programs get: the installed tree, and nothing of the source or build tree. The examples are
// built against it the way its users build, and run on a photo.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include "support/appliance_tree.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;

constexpr const char* kExamples = LUMIVAULT_SOURCE_DIR "/examples";
constexpr int kHostFailed = 3;  // as c_host.c says
constexpr const char* kPhotoRow = "alice: name a.jpg, title Harbour, 64x48, taken 2024-05-17 12:34:56\n";

struct Finished {
  int status;
  std::string output;
};

// Runs a command of the shell; its output and messages are one text.
Finished Shell(const std::string& command) {
  FILE* pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
  if (pipe == nullptr) return {-1, "popen failed"};
  std::string output;
  std::array<char, 4096> block;
  while (const size_t size = fread(block.data(), 1, block.size(), pipe)) output.append(block.data(), size);
  return {pclose(pipe), output};
}

// The one installation of this program, made at its first use.
const TempDir& Installation() {
  static const TempDir prefix;
  static const Finished installed =
      Shell(TEST_CMAKE " --install " LUMIVAULT_BINARY_DIR " --prefix " + (prefix / ""));
  EXPECT_EQ(installed.status, 0) << installed.output;
  return prefix;
}

std::string Prefix() {
  return Installation().path().string();
}

std::string Libraries() {
  return Prefix() + "/" TEST_LIBDIR;
}

std::string PkgConfig(const std::string& options) {
  return "$(PKG_CONFIG_PATH=" + Libraries() + "/pkgconfig " TEST_PKG_CONFIG " " + options +
         " lumivault" TEST_PKG_CONFIG_FILTER ")";
}

class InstalledTest : public testing::Test {
 protected:
  void SetUp() override {
    tree_.AddUser("alice");
    MakeJpeg(photo(), 64, 48, {{"Exif.Image.Orientation", "6"}});
    WriteFile(tree_.personal("alice") / "@eaDir/a.jpg/KAVOPHOTO_TITLE", "Harbour");
  }

  fs::path photo() const { return tree_.personal("alice") / "a.jpg"; }

  std::string BuildWithPkgConfig(const std::string& compiler, const std::string& source,
                                 const std::string& options) const {
    std::string program = build_ / fs::path(source).stem().string();
    const Finished built = Shell("cd " + (build_ / "") + " && " + compiler + " -o " + program + " " +
                                 kExamples + "/" + source + " " + PkgConfig(options) + " -ldl");
    EXPECT_EQ(built.status, 0) << built.output;
    return program;
  }

  std::string BuildWithFindPackage(const std::string& program) const {
    const std::string folder = build_ / "cmake";
    const Finished built = Shell(TEST_CMAKE " -S " + std::string(kExamples) + " -B " + folder +
                                 " -DCMAKE_PREFIX_PATH=" + Prefix() +
                                 " -DCMAKE_C_FLAGS='" TEST_C_FLAGS "' -DCMAKE_CXX_FLAGS='" TEST_CXX_FLAGS
                                 "' && " TEST_CMAKE " --build " +
                                 folder + " --target " + program);
    EXPECT_EQ(built.status, 0) << built.output;
    return folder + "/" + program;
  }

  std::string BuildHost() const {
    return BuildWithPkgConfig(TEST_CC " -std=gnu99 -pedantic-errors -Wall -Wextra -Werror", "c_host.c",
                              "--cflags");
  }

  void ExpectHostIndexes(const std::string& host) const {
    const Finished indexed =
        Shell(TEST_RUN + host + " " + Libraries() + "/libphotoindex.so.1 " + photo().string());
    EXPECT_EQ(indexed.output, kPhotoRow);
    EXPECT_EQ(indexed.status, 0);
  }

  // The library has one photo by then.
  void ExpectToolReports(const std::string& tool) const {
    ExpectHostIndexes(BuildHost());
    const Finished report = Shell(TEST_RUN_LINKED + Libraries() + TEST_LIBRARIES_BEHIND " " + tool + " " +
                                  tree_.personal("alice").string());
    EXPECT_EQ(report.output, "1 photos in SQLite\na.jpg: album /, people 0, orientation 6\n");
    EXPECT_EQ(report.status, 0);
  }

  ApplianceTree tree_;
  TempDir build_;
};

TEST_F(InstalledTest, CHostThroughPkgConfig) {
  ExpectHostIndexes(BuildHost());
}

TEST_F(InstalledTest, CHostThroughFindPackage) {
  ExpectHostIndexes(BuildWithFindPackage("c_host"));
}

TEST_F(InstalledTest, CxxToolThroughPkgConfig) {
  ExpectToolReports(BuildWithPkgConfig(TEST_CXX " -std=c++17 -Wall -Wextra -Werror", "library_report.cpp",
                                       "--cflags --libs"));
}

TEST_F(InstalledTest, CxxToolThroughFindPackage) {
  ExpectToolReports(BuildWithFindPackage("library_report"));
}

// The record and the names are all that two builds share.
TEST_F(InstalledTest, StrangerAddsAndDeletesWithoutAHeader) {
  const fs::path video = tree_.personal("alice") / "b.mp4";
  WriteFile(video, "video");
  const Finished done = Shell(TEST_RUN TEST_STRANGER " " + Libraries() + "/libphotoindex.so.1 " +
                              photo().string() + " " + video.string());
  EXPECT_EQ(done.output,
            "Harbour, 64x48, a.jpg, taken 2024-05-17 12:34:56\n"
            "Quay, 64x48, 17 s, 5000000000 bytes, mp4, profile 77, aac\n");
  EXPECT_EQ(done.status, 0);
}

TEST_F(InstalledTest, HostRefusesAPhotoOutsideEveryLibrary) {
  const Finished refused =
      Shell(TEST_RUN + BuildHost() + " " + Libraries() + "/libphotoindex.so.1 /nowhere/a.jpg");
  EXPECT_EQ(refused.output, "/nowhere/a.jpg: not in a library\n");
  EXPECT_EQ(WEXITSTATUS(refused.status), kHostFailed);
}

// The program finds the plug-in, the platform and the schema relative to itself.
TEST_F(InstalledTest, ProgramIndexesAFolder) {
  const TempDir folder;
  MakeJpeg(folder / "b.jpg", 32, 24);
  const Finished indexed =
      Shell("env -u LUMIVAULT_ROOT -u LUMIVAULT_PLUGIN " + Prefix() + "/bin/lumivault index --quiet --root " +
            (build_ / "state") + " " + (folder / ""));
  EXPECT_EQ(indexed.status, 0) << indexed.output;
  const Finished shown =
      Shell(Prefix() + "/bin/lumivault show --root " + (build_ / "state") + " " + (folder / "b.jpg"));
  EXPECT_THAT(shown.output, HasSubstr("b.jpg"));
  EXPECT_EQ(shown.status, 0);
}

TEST_F(InstalledTest, PackageFilesNameNoOtherTree) {
  const Finished found = Shell("grep -rlF -e " LUMIVAULT_SOURCE_DIR " -e " + Prefix() + " " + Libraries() +
                               "/pkgconfig " + Libraries() + "/cmake " + Prefix() + "/include");
  EXPECT_EQ(found.output, "");
}

struct Language {
  const char* name;
  const char* compiler;
  const char* headers;  // relative to include/lumivault
};

void PrintTo(const Language& language, std::ostream* out) {
  *out << language.name;
}

class HeaderTest : public testing::TestWithParam<Language> {};

// A translation unit that is the declaration behind the headers' includes; ISO C wants one.
std::string Compile(const std::string& includes) {
  return "{ " + includes + "; echo 'typedef int complete;'; } | " + HeaderTest::GetParam().compiler +
         " -Wall -Wextra -Werror -pedantic-errors -fsyntax-only " + PkgConfig("--cflags") + " -";
}

TEST_P(HeaderTest, CompileAloneAndTogether) {
  const std::string each = std::string("for header in ") + GetParam().headers + "; do ";
  const Finished compiled =
      Shell("cd " + Prefix() + "/include/lumivault && " + each +
            Compile("printf '#include <lumivault/%s>\\n#include <lumivault/%s>\\n' $header $header") +
            " || { echo \"in $header\"; exit 1; }; done && " +
            Compile(each + "echo \"#include <lumivault/$header>\"; done"));
  EXPECT_EQ(compiled.status, 0) << compiled.output;
}

constexpr const char* kCHeaders = "$(ls *.h platform/*.h | grep -v photo_exiv2.h)";
constexpr const char* kAllHeaders = "$(ls *.h platform/*.h)";

INSTANTIATE_TEST_SUITE_P(Languages, HeaderTest,
                         testing::Values(Language{"C99", TEST_CC " -std=c99 -xc", kCHeaders},
                                         Language{"C11", TEST_CC " -std=c11 -xc", kCHeaders},
                                         Language{"Cxx11", TEST_CXX " -std=c++11 -xc++", kAllHeaders},
                                         Language{"Cxx20", TEST_CXX " -std=c++20 -xc++", kAllHeaders}),
                         [](const auto& language) { return language.param.name; });

}  // namespace
