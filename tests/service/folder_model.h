// A folder to which random things happen, and what the test knows of it.
#ifndef TESTS_SERVICE_FOLDER_MODEL_H_
#define TESTS_SERVICE_FOLDER_MODEL_H_

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

class FolderModel {
 public:
  FolderModel(std::filesystem::path root, unsigned seed);

  // One random thing.
  void Step();
  // A run has seen everything made so far.
  void Seen();

  // Every file with the number that it was born with.
  const std::map<std::string, int>& files() const { return files_; }
  // The files that were written again since the last run, by number.
  const std::set<int>& overwritten() const { return overwritten_; }
  std::size_t Random(std::size_t below) { return random_() % below; }

 private:
  std::string NewName();
  std::string AnyFolder();
  std::string AnyFile();
  std::string NewPath(const std::string& extension);
  void Write(const std::string& path);

  void Create();
  void Overwrite();
  void DeleteFile();
  void RenameFile();
  void CopyAndDelete();
  void TurnRing(std::size_t size);
  void MakeFolder();
  void RenameFolder();
  void SwapFolders();
  void DeleteFolder();
  // The paths below FROM lie below TO now.
  void Moved(const std::string& from, const std::string& to);

  std::filesystem::path root_;
  std::mt19937 random_;
  std::vector<std::string> folders_{""};
  std::map<std::string, int> files_;
  std::set<int> overwritten_;
  int next_ = 0;
  int seen_ = 0;
  int steps_ = 0;        // since the last run
  bool copied_ = false;  // since the last run
};

#endif  // TESTS_SERVICE_FOLDER_MODEL_H_
