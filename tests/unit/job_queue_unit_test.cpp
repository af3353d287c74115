#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "support/index_library.h"

namespace {

// What write was called with since the last job.
std::vector<std::string> g_writes;

}  // namespace

// NOLINTNEXTLINE: the write of the whole program
extern "C" __attribute__((visibility("default"))) ssize_t write(int descriptor, const void* data,
                                                                size_t size) {
  g_writes.emplace_back(static_cast<const char*>(data), size);
  return syscall(SYS_write, descriptor, data, size);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class JobQueue : public IndexLibraryTest {
 protected:
  std::string QueueFolder() const { return fake().root + "/var/services/photo/@eaDir"; }
  std::string QueueFile() const { return QueueFolder() + "/kavophoto_face.queue"; }
  std::string Queue() const { return ReadFile(QueueFile()); }

  void EnableFaces(const std::string& value = "on") {
    Answer({.match = "config_key = 'enable_face_recognition'", .rows = {{{"config_value", value}}}});
  }
  static int QueueWatermark(const std::string& path) { return IndexWatermarkQueueAdd(InfoOf(path)); }
};

TEST_F(JobQueue, KeepsFacesInOrderOneLineEach) {
  EnableFaces();
  EXPECT_EQ(IndexFaceRecognitionQueueAdd((shared() + "/a.jpg").c_str()), 0);
  EXPECT_EQ(IndexFaceRecognitionQueueAdd((shared() + "/b c.jpg").c_str()), 0);
  EXPECT_EQ(Queue(), "F:" + shared() + "/a.jpg\nF:" + shared() + "/b c.jpg\n");
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(JobQueue, WritesALineAtOnce) {
  EnableFaces();
  WriteFile(QueueFile(), "w:tor");
  const std::string path = shared() + "/a.jpg";
  g_writes.clear();
  EXPECT_EQ(IndexFaceRecognitionQueueAdd(path.c_str()), 0);
  EXPECT_EQ(QueueWatermark("/photo/a.jpg"), 0);
  EXPECT_THAT(g_writes, ElementsAre("\nF:" + path + "\n", "w:a.jpg\n"));
}

TEST_F(JobQueue, QueuesNoFaceWhileTheDatabaseSaysOff) {
  EnableFaces("off");
  EXPECT_EQ(IndexFaceRecognitionQueueAdd((shared() + "/a.jpg").c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(QueueFolder()));
}

TEST_F(JobQueue, QueuesNoFaceOfARefusedPath) {
  EXPECT_EQ(IndexFaceRecognitionQueueAdd(nullptr), 0);
  EXPECT_EQ(IndexFaceRecognitionQueueAdd("user:"), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(JobQueue, QueuesAPersonalFaceUnderItsFullPath) {
  UsePersonal();
  EnableFaces();
  EXPECT_EQ(IndexFaceRecognitionQueueAdd((personal() + "/a.jpg").c_str()), 0);
  EXPECT_EQ(Queue(), "F:" + personal() + "/a.jpg\n");
}

TEST_F(JobQueue, NamesASharedWatermarkBelowThePhotoFolder) {
  EXPECT_EQ(QueueWatermark("/volume1/photo/2024/a.jpg"), 0);
  EXPECT_EQ(QueueWatermark("/volume1/PHOTO/2024/Photo/B.jpg"), 0);
  EXPECT_EQ(QueueWatermark("photo/c.jpg"), 0);
  EXPECT_EQ(Queue(), "w:2024/a.jpg\nw:2024/Photo/B.jpg\nw:c.jpg\n");
}

TEST_F(JobQueue, NamesAWatermarkByItsWholePathWithoutAPhotoFolder) {
  EXPECT_EQ(QueueWatermark("/volume1/photos/a.jpg"), 0);
  EXPECT_EQ(QueueWatermark("/volume1/my photo/a.jpg"), 0);
  EXPECT_EQ(QueueWatermark("/volume1/pictures/photo"), 0);
  EXPECT_EQ(Queue(), "w:/volume1/photos/a.jpg\nw:/volume1/my photo/a.jpg\nw:/volume1/pictures/photo\n");
}

TEST_F(JobQueue, NamesTheOwnerOfAPersonalWatermark) {
  UsePersonal();
  const std::string folder = personal() + "/Photo/2024";
  EXPECT_EQ(QueueWatermark(folder + "/a.jpg"), 0);
  EXPECT_EQ(Queue(), "u:alice/2024/a.jpg\n");
}

TEST_F(JobQueue, ReportsASideFolderThatCannotBeMade) {
  EnableFaces();
  fake().failing.insert("KAVOEAMKDir");
  EXPECT_EQ(IndexFaceRecognitionQueueAdd((shared() + "/a.jpg").c_str()), -1);
  EXPECT_EQ(QueueWatermark("/photo/a.jpg"), -1);
  const std::string message = "photo_index.cpp:# Make ea dir path error. eaDir path: " + QueueFolder();
  EXPECT_THAT(Messages(), ElementsAre(message, message));
}

TEST_F(JobQueue, ReportsALockThatFails) {
  EnableFaces();
  fake().failing.insert("RLIBCFileLockByFile");
  EXPECT_EQ(IndexFaceRecognitionQueueAdd((shared() + "/a.jpg").c_str()), -1);
  EXPECT_EQ(QueueWatermark("/photo/a.jpg"), -1);
  const std::string message = "photo_index.cpp:# RLIBCFileLockByFile failed: " + QueueFile();
  EXPECT_THAT(Messages(), ElementsAre(message, message));
  EXPECT_EQ(fake().Count("RLIBCFileUnlockByFile"), 0);
}

TEST_F(JobQueue, LocksExclusivelyAndUnlocks) {
  EXPECT_EQ(QueueWatermark("/photo/a.jpg"), 0);
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile(" + QueueFile() + ", 1)"), 1);
  EXPECT_EQ(fake().Count("RLIBCFileUnlockByFile"), 1);
}

TEST_F(JobQueue, ReportsAWatermarkOfARefusedPath) {
  EXPECT_EQ(QueueWatermark("user:"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_index.cpp:# HGAStatusCheck failed: user:"));
}

TEST_F(JobQueue, RefusesAWatermarkWithoutATextPath) {
  Json::Value info(Json::objectValue);
  EXPECT_EQ(IndexWatermarkQueueAdd(info), -1);
  info["szPath"] = 5;
  EXPECT_EQ(IndexWatermarkQueueAdd(info), -1);
  EXPECT_EQ(IndexWatermarkQueueAdd(Json::Value("/photo/a.jpg")), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter, kBadParameter));
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 0);
}

TEST_F(JobQueue, RefusesAPathThatWouldBeTwoLines) {
  EnableFaces();
  EXPECT_EQ(QueueWatermark("/photo/a\nw:other.jpg"), -1);
  EXPECT_EQ(IndexFaceRecognitionQueueAdd((shared() + "/a\nF:other.jpg").c_str()), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter));
  EXPECT_FALSE(std::filesystem::exists(QueueFile()));
}

TEST_F(JobQueue, EndsALineThatAnotherWriterLeftTorn) {
  WriteFile(QueueFile(), "w:first.jpg\nw:tor");
  EXPECT_EQ(QueueWatermark("/photo/a.jpg"), 0);
  EXPECT_EQ(Queue(), "w:first.jpg\nw:tor\nw:a.jpg\n");
}

TEST_F(JobQueue, LeavesTheFileAsItWasWhenTheLineDoesNotFit) {
  const std::string before = "w:first.jpg\nw:second.jpg\n";
  WriteFile(QueueFile(), before);
  // In a process of its own: what may be written ends in the middle of the new line.
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {before.size() + 5, before.size() + 5};
    setrlimit(RLIMIT_FSIZE, &limit);
    const bool reported = QueueWatermark("/photo/a long name.jpg") == -1;
    _exit(reported && LastMessage() == "photo_index.cpp:# Failed to write " + QueueFile() ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Queue(), before);
}

}  // namespace
