// One folder, the same things happening to it, and every way to follow them: a run after each, one run after
// all, a full reindex, a library made of what is left, with one worker and with two. All export the same
// bytes.
#include <functional>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

using Change = std::function<void(const fs::path& folder, const fs::path& material)>;

// Keeps the times: what is copied into two libraries is the same file.
void CopyInto(const fs::path& from, const fs::path& to) {
  fs::create_directories(to.parent_path());
  fs::copy_file(from, to, fs::copy_options::overwrite_existing);
  fs::last_write_time(to, fs::last_write_time(from));
}

Change Rename(const std::string& from, const std::string& to) {
  return [=](const fs::path& folder, const fs::path&) {
    fs::create_directories((folder / to).parent_path());
    fs::rename(folder / from, folder / to);
  };
}
Change Put(const std::string& material, const std::string& to) {
  return [=](const fs::path& folder, const fs::path& from) { CopyInto(from / material, folder / to); };
}
Change Delete(const std::string& path) {
  return [=](const fs::path& folder, const fs::path&) { fs::remove_all(folder / path); };
}
Change Swap(const std::string& one, const std::string& other) {
  return [=](const fs::path& folder, const fs::path&) {
    fs::rename(folder / one, folder / "between.jpg");
    fs::rename(folder / other, folder / one);
    fs::rename(folder / "between.jpg", folder / other);
  };
}

const std::vector<Change>& Changes() {
  static const std::vector<Change> changes{
      Put("new 0.jpg", "b/new.jpg"),
      Put("new 1.jpg", "it's new/100% \"é\"/_.jpg"),
      Put("new 2.jpg", "a/1.jpg"),
      Rename("a/2.jpg", "a/renamed.jpg"),
      Rename("a/3.jpg", "b/moved.jpg"),
      Swap("b/4.jpg", "b/5.jpg"),
      Delete("b/6.jpg"),
      Rename("a/deep", "a/deeper"),
      Rename("c", "b/inner/c"),
      Rename("a", "A_new"),
      Delete("d"),
      Put("new 3.jpg", "d/7.jpg"),
      Delete("A_new/8.jpg"),
  };
  return changes;
}

class SameExportTest : public ServiceTest {
 protected:
  void SetUp() override {
    int number = 0;
    for (const char* path :
         {"root.jpg", "a/0.jpg", "a/1.jpg", "a/2.jpg", "a/3.jpg", "a/8.jpg", "b/4.jpg", "b/5.jpg", "b/6.jpg",
          "a/deep/9.jpg", "a/deep/est/10.jpg", "c/11.jpg", "c/c/12.jpg", "d/7.jpg", "d/d/13.jpg"}) {
      MakePhoto(Original() / path, number++);
    }
    for (int i = 0; i < 4; ++i) MakePhoto(Material() / ("new " + std::to_string(i) + ".jpg"), number++);
  }

  enum class Way { kOneByOne, kOneRun, kReindex, kFromNothing };

  std::string ExportOf(Way way, const std::string& workers) {
    const fs::path library = scratch() / ("library" + std::to_string(libraries_++));
    for (const auto& entry : fs::recursive_directory_iterator(Original())) {
      if (entry.is_regular_file()) CopyInto(entry.path(), library / fs::relative(entry.path(), Original()));
    }
    if (way != Way::kFromNothing) Send("index", library, workers);
    for (const Change& change : Changes()) {
      change(library, Material());
      if (way == Way::kOneByOne) Send("index", library, workers);
    }
    if (way != Way::kOneByOne) Send(way == Way::kReindex ? "reindex" : "index", library, workers);
    const RunResult result = Run({"export", library});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

 private:
  fs::path Original() const { return scratch() / "start"; }
  fs::path Material() const { return scratch() / "material"; }

  static void MakePhoto(const fs::path& path, int number) {
    MakeJpeg(path, 8 + number, 8,
             {{"Exif.Image.Make", "maker " + std::to_string(number)},
              {"Iptc.Application2.Keywords", "of " + std::to_string(number)},
              {"Iptc.Application2.Keywords", "third " + std::to_string(number % 3)}});
  }
  void Send(const char* command, const fs::path& library, const std::string& workers) {
    const RunResult result = Run({command, library, "--quiet", "-j", workers});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
  }

  int libraries_ = 0;
};

TEST_F(SameExportTest, HoweverTheChangesAreFollowed) {
  const std::string expected = ExportOf(Way::kFromNothing, "1");
  EXPECT_NE(expected.find("\"path\":\"A_new/deeper/est/10.jpg\""), std::string::npos) << expected;
  for (const char* workers : {"1", "2"}) {
    SCOPED_TRACE(std::string("-j ") + workers);
    EXPECT_EQ(ExportOf(Way::kOneByOne, workers), expected) << "a run after each change";
    EXPECT_EQ(ExportOf(Way::kOneRun, workers), expected) << "one run after all";
    EXPECT_EQ(ExportOf(Way::kReindex, workers), expected) << "a full reindex";
    EXPECT_EQ(ExportOf(Way::kFromNothing, workers), expected) << "from nothing";
  }
}

}  // namespace
