// Texts of the catalogue that nobody of ours has written, and those that hold what others chose.
#include <gtest/gtest.h>

#include "changes/catalogue_entry.h"
#include "library/generation.h"

namespace {

TEST(CatalogueTexts, AnEntryIsReadFromItsColumns) {
  const CatalogueEntry entry = EntryOf("a/b", "c.jpg", "2 1 -1 3 4 5 6 damaged c0ffee cut  short");
  EXPECT_EQ(entry.path, "a/b/c.jpg");
  EXPECT_EQ(entry.kind, ItemKind::kVideo);
  EXPECT_EQ(entry.stamp.device, 1U);
  EXPECT_EQ(entry.stamp.inode, ~std::uint64_t{0});
  EXPECT_EQ(entry.stamp.birth, 3);
  EXPECT_EQ(entry.stamp.size, 4);
  EXPECT_EQ(entry.stamp.modified, 5);
  EXPECT_EQ(entry.stamp.changed, 6);
  EXPECT_EQ(entry.outcome, ItemOutcome::kDamaged);
  EXPECT_EQ(entry.fingerprint, "c0ffee");
  EXPECT_EQ(entry.reason, "cut  short");
}

TEST(CatalogueTexts, AFolderLosesItsSlash) {
  EXPECT_EQ(EntryOf("a", "b/", "0 0 0 0 0 0 0 sent  ").path, "a/b");
}

TEST(CatalogueTexts, AFolderWithoutASlashKeepsItsName) {
  EXPECT_EQ(EntryOf("a", "b", "0 0 0 0 0 0 0 sent  ").path, "a/b");
}

TEST(CatalogueTexts, AFolderWithoutANameHasNoPath) {
  EXPECT_EQ(EntryOf("", "", "0 0 0 0 0 0 0 sent  ").path, "");
}

TEST(CatalogueTexts, AnUnknownKindIsAPhotoThatIsToBeSentAgain) {
  for (const char* facts : {"3 0 0 0 0 0 0 sent  ", "-1 0 0 0 0 0 0 sent  ", "256 0 0 0 0 0 0 sent  "}) {
    const CatalogueEntry entry = EntryOf("", "a", facts);
    EXPECT_EQ(entry.kind, ItemKind::kPhoto) << facts;
    EXPECT_EQ(entry.outcome, ItemOutcome::kPartial) << facts;
  }
}

TEST(CatalogueTexts, NoFactsAtAllAreToBeSentAgain) {
  const CatalogueEntry entry = EntryOf("", "a", "");
  EXPECT_EQ(entry.path, "a");
  EXPECT_EQ(entry.outcome, ItemOutcome::kPartial);
}

// A run's name comes from the library's database, in which its owner may have written any.
TEST(CatalogueTexts, AGenerationComesBackWhateverTheRunIsCalled) {
  for (const char* run : {"5eed-1", "", "two words", " ", "a\nb"}) {
    const Generation generation{~std::uint64_t{0}, run};
    EXPECT_EQ(GenerationOf(TextOf(generation)), generation) << "[" << run << "]";
  }
}

TEST(CatalogueTexts, WhatIsNoGenerationIsTheFirstOne) {
  for (const char* text : {"", "x", " 5 run", "99999999999999999999 run"}) {
    EXPECT_EQ(GenerationOf(text).number, 0U) << "[" << text << "]";
  }
}

}  // namespace
