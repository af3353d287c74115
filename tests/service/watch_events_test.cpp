// Whatever happens in a folder that is watched, its library is as one that is made of the folder then.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>

#include "support/watch_test.h"
#include "watch/fanotify_source.h"

namespace fs = std::filesystem;

namespace {

// A folder in the library, and one outside of it on the same file system.
struct Place {
  fs::path in;
  fs::path out;

  // Each has its own content.
  void Photo(const std::string& name) const {
    static int number = 0;
    MakeJpeg(in / name, 8, 8, {{"Exif.Image.Make", "m" + std::to_string(++number)}});
  }
  void Photos(const std::vector<std::string>& names) const {
    for (const std::string& name : names) Photo(name);
  }
  void Rename(const std::string& from, const std::string& to) const { fs::rename(in / from, in / to); }
  void MoveOut(const std::string& name) const { fs::rename(in / name, out / name); }
  void MoveIn(const std::string& name) const { fs::rename(out / name, in / name); }
  void Remove(const std::string& name) const { fs::remove_all(in / name); }
  void Folder(const std::string& name) const { fs::create_directories(in / name); }
  void Copy(const std::string& from, const std::string& to) const {
    fs::copy(in / from, in / to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  }
  void Append(const std::string& name) const { std::ofstream(in / name, std::ios::app) << "more"; }
  void Swap(const std::string& one, const std::string& other) const {
    Rename(one, "between");
    Rename(other, one);
    Rename("between", other);
  }
};

struct Sequence {
  const char* name;
  std::function<void(const Place&)> before;  // the watch
  std::function<void(const Place&)> happens;
};

void Nothing(const Place& /*at*/) {}
void OnePhoto(const Place& at) {
  at.Photo("a.jpg");
}
void TwoPhotos(const Place& at) {
  at.Photos({"a.jpg", "b.jpg"});
}
void OneFolder(const Place& at) {
  at.Photos({"d/a.jpg", "d/b.jpg", "d/e/c.jpg"});
}
void TwoFolders(const Place& at) {
  at.Photos({"d/a.jpg", "d/e/c.jpg", "f/b.jpg"});
}

const std::vector<Sequence> kSequences{
    {"create", Nothing, OnePhoto},
    {"create-hidden-and-rename", Nothing,
     [](const Place& at) {
       at.Photo(".a.jpg.Xy12");
       at.Rename(".a.jpg.Xy12", "a.jpg");
     }},
    {"create-part-and-rename", Nothing,
     [](const Place& at) {
       at.Photo("x.jpg");
       at.Rename("x.jpg", "a.jpg.part");
       at.Rename("a.jpg.part", "a.jpg");
     }},
    {"copy", OnePhoto, [](const Place& at) { at.Copy("a.jpg", "b.jpg"); }},
    {"overwrite", OnePhoto, OnePhoto},
    {"append", OnePhoto, [](const Place& at) { at.Append("a.jpg"); }},
    {"replace-by-rename", OnePhoto,
     [](const Place& at) {
       at.Photo(".new.jpg");
       at.Rename(".new.jpg", "a.jpg");
     }},
    {"replace-by-other-photo", TwoPhotos, [](const Place& at) { at.Rename("a.jpg", "b.jpg"); }},
    {"rename", OnePhoto, [](const Place& at) { at.Rename("a.jpg", "b.jpg"); }},
    {"rename-twice", OnePhoto,
     [](const Place& at) {
       at.Rename("a.jpg", "b.jpg");
       at.Rename("b.jpg", "c.jpg");
     }},
    {"rename-and-back", OnePhoto,
     [](const Place& at) {
       at.Rename("a.jpg", "b.jpg");
       at.Rename("b.jpg", "a.jpg");
     }},
    {"rename-extension", OnePhoto, [](const Place& at) { at.Rename("a.jpg", "a.jpeg"); }},
    {"rename-to-no-photo", OnePhoto, [](const Place& at) { at.Rename("a.jpg", "a.bak"); }},
    {"rename-from-no-photo",
     [](const Place& at) {
       at.Photo("x.jpg");
       at.Rename("x.jpg", "a.bak");
     },
     [](const Place& at) { at.Rename("a.bak", "a.jpg"); }},
    {"hide", OnePhoto, [](const Place& at) { at.Rename("a.jpg", ".a.jpg"); }},
    {"show", [](const Place& at) { at.Photo(".a.jpg"); },
     [](const Place& at) { at.Rename(".a.jpg", "a.jpg"); }},
    {"move-to-folder", TwoFolders, [](const Place& at) { at.Rename("d/a.jpg", "f/a.jpg"); }},
    {"move-to-new-folder", OnePhoto,
     [](const Place& at) {
       at.Folder("n/m");
       at.Rename("a.jpg", "n/m/a.jpg");
     }},
    {"move-out", OnePhoto, [](const Place& at) { at.MoveOut("a.jpg"); }},
    {"move-in",
     [](const Place& at) {
       OnePhoto(at);
       at.MoveOut("a.jpg");
     },
     [](const Place& at) { at.MoveIn("a.jpg"); }},
    {"move-out-and-back", OnePhoto,
     [](const Place& at) {
       at.MoveOut("a.jpg");
       at.MoveIn("a.jpg");
     }},
    {"delete", OnePhoto, [](const Place& at) { at.Remove("a.jpg"); }},
    {"delete-and-make-again", OnePhoto,
     [](const Place& at) {
       at.Remove("a.jpg");
       OnePhoto(at);
     }},
    {"delete-and-undelete", OnePhoto,
     [](const Place& at) {
       at.Copy("a.jpg", ".kept");
       at.Remove("a.jpg");
       at.Rename(".kept", "a.jpg");
     }},
    {"copy-and-delete", OnePhoto,
     [](const Place& at) {
       at.Copy("a.jpg", "b.jpg");
       at.Remove("a.jpg");
     }},
    {"swap", TwoPhotos, [](const Place& at) { at.Swap("a.jpg", "b.jpg"); }},
    {"ring",
     [](const Place& at) {
       at.Photos({"a.jpg", "b.jpg", "c.jpg"});
     },
     [](const Place& at) {
       at.Swap("a.jpg", "b.jpg");
       at.Swap("b.jpg", "c.jpg");
     }},
    {"mode", OnePhoto, [](const Place& at) { fs::permissions(at.in / "a.jpg", fs::perms::owner_read); }},
    {"time", OnePhoto,
     [](const Place& at) {
       const timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
       EXPECT_EQ(utimensat(AT_FDCWD, (at.in / "a.jpg").c_str(), times, 0), 0);
     }},
    {"damage-and-mend", OnePhoto,
     [](const Place& at) {
       WriteFile(at.in / "a.jpg", "no photo");
       at.Photo("a.jpg");
     }},
    {"empty-then-written", [](const Place& at) { WriteFile(at.in / "a.jpg", ""); }, OnePhoto},
    {"special-file", Nothing, [](const Place& at) { EXPECT_EQ(mkfifo((at.in / "a.jpg").c_str(), 0600), 0); }},
    {"no-photo", Nothing, [](const Place& at) { WriteFile(at.in / "notes.txt", "notes"); }},
    {"side-files", OnePhoto, [](const Place& at) { WriteFile(at.in / "@eaDir/b.jpg/title", "no"); }},

    {"folder", Nothing, [](const Place& at) { at.Folder("d"); }},
    {"folders-in-folders", Nothing, [](const Place& at) { at.Photo("d/e/f/g/a.jpg"); }},
    {"folder-with-many", Nothing,
     [](const Place& at) {
       for (int i = 0; i < 60; ++i) at.Photo("d/" + std::to_string(i) + ".jpg");
     }},
    {"folder-copied", OneFolder, [](const Place& at) { at.Copy("d", "c"); }},
    {"folder-removed", OneFolder, [](const Place& at) { at.Remove("d"); }},
    {"folder-empty-removed", [](const Place& at) { at.Folder("d"); },
     [](const Place& at) { at.Remove("d"); }},
    {"folder-made-again", OneFolder,
     [](const Place& at) {
       at.Remove("d");
       at.Photos({"d/x.jpg", "d/a.jpg"});
     }},
    {"folder-renamed", OneFolder, [](const Place& at) { at.Rename("d", "f"); }},
    {"folder-renamed-twice", OneFolder,
     [](const Place& at) {
       at.Rename("d", "f");
       at.Rename("f", "g");
     }},
    {"folder-renamed-then-written", OneFolder,
     [](const Place& at) {
       at.Rename("d", "f");
       at.Photos({"f/n.jpg", "f/e/n.jpg", "f/e/m/n.jpg"});
     }},
    {"folder-renamed-then-file", OneFolder,
     [](const Place& at) {
       at.Rename("d", "f");
       at.Rename("f/a.jpg", "f/z.jpg");
     }},
    {"file-renamed-then-folder", OneFolder,
     [](const Place& at) {
       at.Rename("d/a.jpg", "d/z.jpg");
       at.Rename("d", "f");
     }},
    {"sub-folder-renamed", OneFolder, [](const Place& at) { at.Rename("d/e", "d/f"); }},
    {"folder-into-folder", TwoFolders, [](const Place& at) { at.Rename("f", "d/f"); }},
    {"sub-folder-out-of-folder", OneFolder, [](const Place& at) { at.Rename("d/e", "e"); }},
    {"folders-swapped", TwoFolders, [](const Place& at) { at.Swap("d", "f"); }},
    {"folder-moved-out", OneFolder, [](const Place& at) { at.MoveOut("d"); }},
    {"folder-moved-in",
     [](const Place& at) {
       OneFolder(at);
       at.MoveOut("d");
     },
     [](const Place& at) { at.MoveIn("d"); }},
    {"folder-moved-out-and-back", OneFolder,
     [](const Place& at) {
       at.MoveOut("d");
       at.MoveIn("d");
       at.Photo("d/e/n.jpg");
     }},
    {"folder-over-empty-folder",
     [](const Place& at) {
       OneFolder(at);
       at.Folder("f");
     },
     [](const Place& at) {
       at.Rename("d", "f");
       at.Photo("f/n.jpg");
     }},
    {"folder-hidden", OneFolder, [](const Place& at) { at.Rename("d", ".d"); }},
    {"folder-shown",
     [](const Place& at) {
       at.Photos({".d/a.jpg", ".d/e/b.jpg"});
     },
     [](const Place& at) {
       at.Rename(".d", "d");
       at.Photo("d/e/n.jpg");
     }},
    {"folder-closed-and-opened", OneFolder,
     [](const Place& at) {
       EXPECT_EQ(chmod((at.in / "d").c_str(), 0), 0);
       EXPECT_EQ(chmod((at.in / "d").c_str(), 0755), 0);
       at.Photo("d/n.jpg");
     }},
    {"folder-becomes-file", [](const Place& at) { at.Photo("d.jpg/a.jpg"); },
     [](const Place& at) {
       at.Remove("d.jpg");
       at.Photo("d.jpg");
     }},
    {"file-becomes-folder", OnePhoto,
     [](const Place& at) {
       at.Remove("a.jpg");
       at.Photo("a.jpg/b.jpg");
     }},

    {"link", OnePhoto, [](const Place& at) { fs::create_symlink("a.jpg", at.in / "l.jpg"); }},
    {"link-removed",
     [](const Place& at) {
       OnePhoto(at);
       fs::create_symlink("a.jpg", at.in / "l.jpg");
     },
     [](const Place& at) { at.Remove("l.jpg"); }},
    {"link-target-written",
     [](const Place& at) {
       OnePhoto(at);
       fs::create_symlink("a.jpg", at.in / "l.jpg");
     },
     OnePhoto},
    {"link-target-comes", [](const Place& at) { fs::create_symlink("a.jpg", at.in / "l.jpg"); }, OnePhoto},
    {"link-moved",
     [](const Place& at) {
       OneFolder(at);
       fs::create_symlink("d/a.jpg", at.in / "l.jpg");
     },
     [](const Place& at) { at.Rename("l.jpg", "k.jpg"); }},
    {"link-to-folder", OneFolder, [](const Place& at) { fs::create_directory_symlink("d", at.in / "l"); }},
    {"folder-becomes-link-and-goes", OneFolder,
     [](const Place& at) {
       at.MoveOut("d");
       fs::create_directory_symlink("nowhere", at.in / "d");
       at.Remove("d");
     }},
    {"hard-link", OnePhoto, [](const Place& at) { fs::create_hard_link(at.in / "a.jpg", at.in / "h.jpg"); }},
    {"hard-link-written",
     [](const Place& at) {
       OnePhoto(at);
       fs::create_hard_link(at.in / "a.jpg", at.in / "h.jpg");
     },
     [](const Place& at) { at.Append("a.jpg"); }},
};

class WatchEventsTest : public WatchTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    if (GetParam() != std::string("fanotify")) return;
    if (const auto usable = FanotifySource::Try(folder()); !usable) GTEST_SKIP() << usable.failure().message;
  }
  Place PlaceOf(const Sequence& sequence) const {
    return {File(sequence.name), scratch() / "away" / sequence.name};
  }
  void PrepareAndWatch() {
    for (const Sequence& sequence : kSequences) {
      const Place place = PlaceOf(sequence);
      fs::create_directories(place.in);
      fs::create_directories(place.out);
      sequence.before(place);
    }
    Watch({"--events", GetParam()});
  }
};

TEST_P(WatchEventsTest, OneAfterTheOther) {
  ASSERT_GE(kSequences.size(), 40U);
  ASSERT_NO_FATAL_FAILURE(PrepareAndWatch());
  for (const Sequence& sequence : kSequences) {
    SCOPED_TRACE(sequence.name);
    sequence.happens(PlaceOf(sequence));
    ASSERT_NO_FATAL_FAILURE(CatchUp());
  }
  ExpectAsNew();
}

TEST_P(WatchEventsTest, AllAtOnce) {
  ASSERT_NO_FATAL_FAILURE(PrepareAndWatch());
  for (const Sequence& sequence : kSequences) sequence.happens(PlaceOf(sequence));
  ASSERT_NO_FATAL_FAILURE(CatchUp());
  ExpectAsNew();
}

INSTANTIATE_TEST_SUITE_P(Sources, WatchEventsTest, testing::Values("inotify", "fanotify"),
                         [](const auto& source) { return std::string(source.param); });

}  // namespace
