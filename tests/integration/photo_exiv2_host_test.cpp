// The image metadata reader in a program that uses Exiv2 itself.
#include "lumivault/photo_exiv2.h"

#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>
#include <string>
#include <thread>

#include "platform/image_cache.h"
#include "support/temp_dir.h"
#include "support/xmp_packet.h"

namespace {

std::string FileOf(const TempDir& dir, const std::string& prefix, const std::string& space,
                   const std::string& word) {
  const std::string path = dir / (prefix + word + ".jpg");
  MakeWithPacket(path, PacketOf("xmlns:" + prefix + "=\"" + space + "\"",
                                "<" + prefix + ":Word>" + word + "</" + prefix + ":Word>"));
  Exiv2::XmpProperties::unregisterNs(space);
  return path;
}

constexpr const char* kOne = "http://lumivault.example/one/";
constexpr const char* kTwo = "http://lumivault.example/two/";

class PhotoExiv2InAHost : public testing::Test {
 protected:
  // Every file is parsed when it is asked for.
  void SetUp() override { SetImageCacheCount(0); }

  TempDir dir_;
};

TEST_F(PhotoExiv2InAHost, AnObjectTellsItsKeysAfterOtherFilesWereRead) {
  PhotoExiv2 one(FileOf(dir_, "lvone", kOne, "a").c_str());
  PhotoExiv2 two(FileOf(dir_, "lvtwo", kTwo, "b").c_str());
  EXPECT_EQ(one.GetXmpTagValue("Xmp.lvone.Word", false), "a");
  EXPECT_EQ(two.GetXmpTagValue("Xmp.lvtwo.Word", true), "b");
  EXPECT_EQ(one.GetXmpTagValue("Xmp.lvone.Other", false), "");
  EXPECT_EQ(one.GetXmpTagValue("Xmp.dc.title", false), "");
}

TEST_F(PhotoExiv2InAHost, TwoObjectsMayHaveOnePrefixForTwoNamespaces) {
  PhotoExiv2 one(FileOf(dir_, "lv", kOne, "a").c_str());
  PhotoExiv2 two(FileOf(dir_, "lv", kTwo, "b").c_str());
  EXPECT_EQ(one.GetXmpTagValue("Xmp.lv.Word", false), "a");
  EXPECT_EQ(two.GetXmpTagValue("Xmp.lv.Word", false), "b");
}

TEST_F(PhotoExiv2InAHost, APrefixThatNeitherFileNorLibraryHasIsAnError) {
  PhotoExiv2 one(FileOf(dir_, "lvone", kOne, "a").c_str());
  for (const char* key : {"Xmp.lvtwo.Word", "Xmp.lvone.", "Xmp.lvone", "Xmp.lv.Word", "Exif.lvone.Word", ""})
    EXPECT_THROW(one.GetXmpTagValue(key, false), Exiv2::BasicError<char>) << key;
}

TEST_F(PhotoExiv2InAHost, TheProgramsRegistrationsSurvive) {
  const std::string path = FileOf(dir_, "lvhost", kOne, "a");
  Exiv2::XmpProperties::registerNs(kTwo, "lvhost");
  PhotoExiv2 one(path.c_str());
  EXPECT_EQ(one.GetXmpTagValue("Xmp.lvhost.Word", false), "a");
  EXPECT_EQ(Exiv2::XmpProperties::ns("lvhost"), kTwo);
  Exiv2::XmpProperties::unregisterNs(kTwo);
}

TEST_F(PhotoExiv2InAHost, HeifIsToTheProgramWhatItWas) {
  constexpr int kQuickTime = 22;  // what the library takes it for
  const std::string photo = FileOf(dir_, "lv", kOne, "a");
  const std::string heif = dir_ / "a.heic";
  WriteFile(heif, std::string("\0\0\0\x18"
                              "ftypheic\0\0\0\0mif1heic",
                              24) +
                      std::string(512, '\0'));
  ASSERT_EQ(Exiv2::ImageFactory::getType(heif), kQuickTime);
  PhotoExiv2 before(photo.c_str());
  EXPECT_EQ(Exiv2::ImageFactory::getType(heif), kQuickTime);
  Exiv2::enableBMFF(true);
  PhotoExiv2 after(photo.c_str());
  EXPECT_EQ(Exiv2::ImageFactory::getType(heif), Exiv2::ImageType::bmff);
  Exiv2::enableBMFF(false);
}

void CountLocks(void* count, bool locks) {
  if (locks) ++*static_cast<int*>(count);
}

bool LocksAreCounted(int& count) {
  count = 0;
  Exiv2::XmpProperties::registerNs(kTwo, "lvlock");
  Exiv2::XmpData data;
  data["Xmp.lvlock.Word"] = "a";
  std::string packet;
  EXPECT_EQ(Exiv2::XmpParser::encode(packet, data), 0);
  Exiv2::XmpProperties::unregisterNs(kTwo);
  return count > 0;
}

// The parser takes the lock of the first to ask for it; as the header says.
TEST_F(PhotoExiv2InAHost, ALockIsTakenAfterTheParserWasEnded) {
  PhotoExiv2 one(FileOf(dir_, "lv", kOne, "a").c_str());
  int count = 0;
  Exiv2::XmpParser::initialize(CountLocks, &count);
  EXPECT_FALSE(LocksAreCounted(count));
  Exiv2::XmpParser::terminate();
  Exiv2::XmpParser::initialize(CountLocks, &count);
  EXPECT_TRUE(LocksAreCounted(count));
  PhotoExiv2 two(FileOf(dir_, "lv", kOne, "b").c_str());
  EXPECT_EQ(two.GetXmpTagValue("Xmp.lv.Word", false), "b");
  EXPECT_TRUE(LocksAreCounted(count));
  Exiv2::XmpParser::terminate();
  Exiv2::XmpParser::initialize();
}

TEST_F(PhotoExiv2InAHost, ThreadsHaveTheirOwnObjects) {
  constexpr int kRounds = 100;
  const std::string one = FileOf(dir_, "lv", kOne, "a");
  const std::string two = FileOf(dir_, "lv", kTwo, "b");
  const auto read = [](const std::string& path, const char* word, int* wrong) {
    for (int i = 0; i < kRounds; ++i) {
      try {
        PhotoExiv2 image(path.c_str());
        if (image.GetXmpTagValue("Xmp.lv.Word", false) != word) ++*wrong;
        (void)image.GetMetadata();
      } catch (const std::exception&) {
        ++*wrong;
      }
    }
  };
  int wrong_here = 0;
  int wrong_there = 0;
  std::thread other(read, two, "b", &wrong_there);
  read(one, "a", &wrong_here);
  other.join();
  EXPECT_EQ(wrong_here + wrong_there, 0);
}

}  // namespace
