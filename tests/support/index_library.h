// A library on the substitutes of the platform, for tests of the entry points.
#ifndef TESTS_SUPPORT_INDEX_LIBRARY_H_
#define TESTS_SUPPORT_INDEX_LIBRARY_H_

#include <string>

#include "support/fake_library.h"
#include "support/media_record.h"

class IndexLibraryTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    fake().shares["photo"] = shared();
  }

  // Makes a file with this content below the shared photo folder, or below alice's.
  std::string SharedFile(const std::string& name) const { return Written(shared() + "/" + name); }
  std::string PersonalFile(const std::string& name) const { return Written(personal() + "/" + name); }
  static std::string Written(const std::string& path) {
    WriteFile(path, "content");
    return path;
  }
  // Makes a folder and returns its path.
  static std::string Folder(const std::string& path) {
    std::filesystem::create_directories(path);
    return path;
  }

  void EnablePackage() { WriteFile(fake().root + kPackageMarker, ""); }
  void Set(const std::string& key, const std::string& value) {
    fake().key_values[fake().root + kPackageSettings][key] = value;
  }

  // Every statement that begins with PART fails.
  void FailStatement(const std::string& part) { Answer({.match = part, .result = -1}); }
  // A count of the rows that PART selects.
  void AnswerRows(const std::string& part, int rows) {
    FakePlatform::Answer answer = {.match = part};
    answer.rows.resize(static_cast<std::size_t>(rows));
    Answer(answer);
  }

  static std::string LastMessage() { return Messages().empty() ? "" : Messages().back(); }
};

#endif  // TESTS_SUPPORT_INDEX_LIBRARY_H_
