#include "worker/reason_text.h"

#include <gtest/gtest.h>

namespace {

struct Case {
  const char* library;
  const char* ours;
};

TEST(ReasonForPeople, WhatALibrarySaysStandsInBrackets) {
  for (const Case& one : {
           Case{"The file contains data of an unknown image type",
                "it is no picture, or of a format that is not read"},
           {"Image type 9 is not supported", "it is no picture, or of a format that is not read"},
           {"This does not look like a TIFF image", "its metadata is damaged"},
           {"This does not look like a JPEG image", "the picture is damaged or cut short"},
           {"Failed to read image data", "the picture is damaged or cut short"},
           {"Failed to read input data", "the picture is damaged or cut short"},
           {"Not a valid ICC Profile", "its colour profile is damaged"},
           {"corrupted image metadata", "its metadata is damaged"},
           {"tiff directory length is too large", "its metadata is damaged"},
           {"invalid type in tiff structure", "its metadata is damaged"},
           {"invalid memory allocation request", "its metadata is damaged"},
           {"Offset out of range", "its metadata is damaged"},
           {"Arithmetic operation overflow", "its metadata is damaged"},
           {"Unsupported data area offset type", "its metadata is damaged"},
           {"Invalid charset: `x'", "its metadata is damaged"},
           {"Invalid XmpText type `x'", "its metadata is damaged"},
           {"Invalid LangAlt value `x'", "its metadata is damaged"},
           {"XMP Toolkit error 201: Error in XMLValidator", "its metadata is damaged"},
           {"Unhandled XMP node x with opt=1", "its metadata is damaged"},
           {"Failed to decode Lang Alt property x with opt=1", "its metadata is damaged"},
           {"No prefix registered for namespace `x', needed for property path `y'",
            "its metadata is damaged"},
           {"No namespace info available for XMP prefix `x'", "its metadata is damaged"},
           {"Schema namespace x is not registered with the XMP Toolkit", "its metadata is damaged"},
           {"Invalid slice bounds specified", "its metadata is damaged"},
           {"Invalid input parameters to slice", "its metadata is damaged"},
           {"TIFF directory Photo has too many entries", "its metadata is damaged"},
           {"Invalid data found when processing input", "the video is damaged or cut short, or it is none"},
           {"Demuxer not found", "it is no video, or of a format that is not read"},
           {"Decoder not found", "it is no video, or of a format that is not read"},
           {"Not yet implemented in FFmpeg, patches welcome",
            "it is no video, or of a format that is not read"},
           {"Protocol not found", "the video is damaged or cut short, or it is none"},
           {"Stream not found", "the video is damaged or cut short, or it is none"},
           {"End of file", "the video is damaged or cut short, or it is none"},
           {"Unknown error occurred", "the video is damaged or cut short, or it is none"},
           {"Cannot allocate memory", "reading it takes more memory than one file may have"},
           {"std::bad_alloc", "reading it takes more memory than one file may have"},
           {"Input/output error", "it cannot be read to its end"},
           {"Numerical result out of range", "it holds numbers that make no sense"},
       }) {
    EXPECT_EQ(ReasonForPeople(one.library), std::string(one.ours) + " [" + one.library + "]");
  }
}

TEST(ReasonForPeople, OurOwnWordsStayAsTheyAre) {
  for (const char* reason :
       {"", "the file is empty", "Permission denied", "the picture is cut short",
        "killed by signal 11 (Segmentation fault)", "it holds no video", "the end: End of file"}) {
    EXPECT_EQ(ReasonForPeople(reason), reason);
  }
}

TEST(ReasonForPeople, AStatementIsLeftOut) {
  EXPECT_EQ(
      ReasonForPeople("Failed to exec [INSERT INTO t VALUES ('a] (b')] (NOT NULL constraint failed: t.a); "
                      "Failed to save photo info."),
      "the database refused it [NOT NULL constraint failed: t.a]");
  EXPECT_EQ(ReasonForPeople("Failed to exec [INSERT INTO t VALUES (1)]; PhotoShareInfoDBSave failed."),
            "the database refused it");
  EXPECT_EQ(ReasonForPeople("Failed to exec [INSERT INTO t"), "the database refused it");
}

}  // namespace
