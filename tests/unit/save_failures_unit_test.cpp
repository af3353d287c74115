// Failures of the program's own parts that no file and no substitute of the platform brings about. The parts
// are replaced in this program.
#include <json/value.h>

#include <functional>
#include <new>

#include "lumivault/photo_exiv2.h"
#include "lumivault/photo_util.h"
#include "support/fake_library.h"

namespace {

// How many of the two album names can be told.
int known_names = 2;
// Throws what the reading of the metadata throws.
std::function<void()> read_metadata;

int AlbumName(int number, char* out) {
  out[0] = 'a';
  out[1] = '\0';
  return number <= known_names ? 0 : -1;
}

}  // namespace

int GetSharenameByFilePath(const char* /*file*/, char* out, size_t /*size*/) {
  return AlbumName(1, out);
}
int PhotoUtilShareNameGet(const char* /*path*/, char* out, size_t /*size*/) {
  return AlbumName(0, out);
}
int GetReferenceSharenameBySharename(const char* /*album*/, char* out, size_t /*size*/) {
  return AlbumName(0, out);
}
int GetPrivilegeSharenameByFilePath(const char* /*file*/, char* out, size_t /*size*/) {
  return AlbumName(2, out);
}

PhotoExiv2::PhotoExiv2(const char* /*path*/) {}
Json::Value PhotoExiv2::GetMetadata() {
  read_metadata();
  Json::Value metadata(Json::objectValue);
  metadata["lens"] = "a lens";
  return metadata;
}

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SaveFailuresTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    WriteFile(path(), "");
    known_names = 2;
    read_metadata = [] {};
    fake().programs = {{"exiv2", {0, ""}}};
    Answer({.match = "SELECT id FROM photo_image", .rows = {{{"id", "7"}}}});
    Answer({.match = "SELECT shareid FROM photo_share", .rows = {{{"shareid", "5"}}}});
  }

  std::string path() const { return shared() + "/trip/b.jpg"; }
  int Save(PHOTO_TABLE_TYPE type) const {
    Json::Value info(Json::objectValue);
    info["szPath"] = path();
    return PhotoInfoDBSave(type, &info);
  }
  // The statement that inserts into TABLE.
  static std::string Inserted(const std::string& table) {
    const auto sent = Sent("INSERT INTO " + table);
    return sent.size() == 1 ? sent.front() : "";
  }
};

TEST_F(SaveFailuresTest, AlbumsThatAreKnownAreStored) {
  EXPECT_EQ(Save(PHOTO_TABLE_IMAGE), 0);
  EXPECT_EQ(Save(PHOTO_TABLE_VIDEO), 0);
  EXPECT_THAT(Inserted("photo_image (path"), HasSubstr("'f', '5', '5', '0', NULL"));
  EXPECT_THAT(Inserted("video("), HasSubstr("'f', '5', '5', '1', '1', NULL"));
}

TEST_F(SaveFailuresTest, AlbumsThatCannotBeToldAreBothZero) {
  const std::string message = "photo_database.cpp:# Get ShareId, Privilege_shareid Error(" + path() + ")";
  for (known_names = 0; known_names < 2; ++known_names) {
    SyslogCapture::Clear();
    fake().statements.clear();
    EXPECT_EQ(Save(PHOTO_TABLE_IMAGE), 0);
    EXPECT_THAT(Messages(), Contains(message).Times(1));
    EXPECT_THAT(Inserted("photo_image (path"), HasSubstr("'f', '0', '0', '0', NULL")) << known_names;
    EXPECT_EQ(Save(PHOTO_TABLE_VIDEO), 0);
    EXPECT_THAT(Messages(), Contains(message).Times(2));
    EXPECT_THAT(Inserted("video("), HasSubstr("'f', '0', '0', '1', '1', NULL")) << known_names;
  }
}

TEST_F(SaveFailuresTest, MetadataAreStored) {
  EXPECT_EQ(Save(PHOTO_TABLE_IMAGE), 0);
  EXPECT_THAT(Inserted("photo_image (path"), HasSubstr("'', 'a lens', '')"));
}

TEST_F(SaveFailuresTest, FilesWithoutMetadataAreNotWorthALine) {
  read_metadata = [] { throw Exiv2::BasicError<char>(Exiv2::kerCorruptedMetadata); };
  EXPECT_EQ(Save(PHOTO_TABLE_IMAGE), 0);
  EXPECT_THAT(Inserted("photo_image (path"), HasSubstr("'0', NULL, NULL, '', '', '')"));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(SaveFailuresTest, MetadataThatNeedTooMuchMemoryAreLogged) {
  read_metadata = [] { throw std::bad_alloc(); };
  EXPECT_EQ(Save(PHOTO_TABLE_IMAGE), 0);
  EXPECT_THAT(Inserted("photo_image (path"), HasSubstr("'0', NULL, NULL, '', '', '')"));
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to read the metadata of " + path() +
                                      " (std::bad_alloc)"));
}

}  // namespace
