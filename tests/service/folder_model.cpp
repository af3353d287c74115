#include "folder_model.h"

#include <algorithm>
#include <iterator>

#include "base/path_below.h"
#include "support/media_maker.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFirstFiles = 24;
constexpr std::size_t kLongestPath = 1500;
constexpr std::size_t kLongestFolder = 600;
constexpr std::size_t kMostFiles = 60;
constexpr std::size_t kLongName = 240;  // with its number and extension at most 255
constexpr int kRareLongName = 8;

}  // namespace

FolderModel::FolderModel(fs::path root, unsigned seed) : root_(std::move(root)), random_(seed) {
  for (int i = 0; i < kFirstFiles; ++i) Create();
}

void FolderModel::Step() {
  if (copied_) return;
  ++steps_;
  switch (Random(16)) {
    case 0:
    case 1:
      return files_.size() < kMostFiles ? Create() : DeleteFile();
    case 2:
      return Overwrite();
    case 3:
      return DeleteFile();
    case 4:
      return MakeFolder();
    case 5:
    case 6:
      return RenameFolder();
    case 7:
      return SwapFolders();
    case 8:
      return Random(6) == 0 ? DeleteFolder() : MakeFolder();
    case 9:
      return TurnRing(2);
    case 10:
      return TurnRing(2 + Random(3));
    case 11:
      return CopyAndDelete();
    default:
      return RenameFile();
  }
}

void FolderModel::Seen() {
  seen_ = next_;
  overwritten_.clear();
  steps_ = 0;
  copied_ = false;
}

std::string FolderModel::NewName() {
  static const std::vector<std::string> kParts{"a",  "it's", "100%", "_",    "\"q\"", "back\\slash",
                                               "\n", "😀",    "B b",  "x*y?", ";--",   "a.b"};
  const std::string part =
      Random(kRareLongName) == 0 ? std::string(kLongName, 'l') : kParts[Random(kParts.size())];
  return part + std::to_string(next_++);
}

std::string FolderModel::AnyFolder() {
  return folders_[Random(folders_.size())];
}

std::string FolderModel::AnyFile() {
  if (files_.empty()) return "";
  return std::next(files_.begin(), static_cast<long>(Random(files_.size())))->first;
}

std::string FolderModel::NewPath(const std::string& extension) {
  const std::string folder = AnyFolder();
  const std::string path = (folder.empty() ? "" : folder + "/") + NewName() + extension;
  return path.size() > kLongestPath ? NewName() + extension : path;
}

void FolderModel::Write(const std::string& path) {
  MakeJpeg(root_ / path, 8 + static_cast<int>(Random(8)), 8,
           {{"Exif.Image.Make", "m" + std::to_string(++next_)},
            {"Iptc.Application2.Keywords", "k" + std::to_string(Random(5))}});
}

void FolderModel::Create() {
  const std::string path = NewPath(".jpg");
  Write(path);
  files_[path] = next_;
}

void FolderModel::Overwrite() {
  const std::string path = AnyFile();
  if (path.empty()) return;
  Write(path);
  overwritten_.insert(files_[path]);
}

void FolderModel::DeleteFile() {
  const std::string path = AnyFile();
  if (path.empty()) return;
  fs::remove(root_ / path);
  files_.erase(path);
}

void FolderModel::RenameFile() {
  const std::string from = AnyFile();
  if (from.empty()) return;
  // A file that no run has seen and that takes the place of another one is a change of that one's content.
  const bool replaces = Random(4) == 0 && files_[from] <= seen_;
  const std::string to = replaces ? AnyFile() : NewPath(".jpg");
  if (to == from) return;
  fs::rename(root_ / from, root_ / to);
  files_[to] = files_[from];
  files_.erase(from);
}

// A copy is recognised by its content under a new name, when nothing but that has happened: alone in its
// burst.
void FolderModel::CopyAndDelete() {
  const std::string from = AnyFile();
  if (from.empty() || steps_ > 1) return;
  copied_ = true;
  const std::string to = NewPath(".jpg");
  fs::copy_file(root_ / from, root_ / to);
  fs::remove(root_ / from);
  files_[to] = files_[from];
  files_.erase(from);
}

void FolderModel::TurnRing(std::size_t size) {
  std::set<std::string> chosen;
  for (std::size_t i = 0; i < size; ++i) chosen.insert(AnyFile());
  chosen.erase("");
  const std::vector<std::string> ring(chosen.begin(), chosen.end());
  if (ring.size() < 2) return;
  const int last = files_[ring.back()];
  fs::rename(root_ / ring.back(), root_ / "ring");
  for (std::size_t i = ring.size() - 1; i > 0; --i) {
    fs::rename(root_ / ring[i - 1], root_ / ring[i]);
    files_[ring[i]] = files_[ring[i - 1]];
  }
  fs::rename(root_ / "ring", root_ / ring.front());
  files_[ring.front()] = last;
}

void FolderModel::MakeFolder() {
  const std::string path = NewPath("");
  if (path.size() > kLongestFolder) return;
  fs::create_directory(root_ / path);
  folders_.push_back(path);
}

void FolderModel::RenameFolder() {
  const std::string from = AnyFolder();
  const std::string to = NewPath("");
  if (from.empty() || to.size() > kLongestFolder || IsOrLiesBelow(to, from)) return;
  fs::rename(root_ / from, root_ / to);
  Moved(from, to);
}

void FolderModel::SwapFolders() {
  const std::string a = AnyFolder();
  const std::string b = AnyFolder();
  if (a.empty() || b.empty() || IsOrLiesBelow(a, b) || IsOrLiesBelow(b, a)) return;
  const std::string between = "between";
  fs::rename(root_ / a, root_ / between);
  Moved(a, between);
  fs::rename(root_ / b, root_ / a);
  Moved(b, a);
  fs::rename(root_ / between, root_ / b);
  Moved(between, b);
}

void FolderModel::DeleteFolder() {
  const std::string folder = AnyFolder();
  if (folder.empty()) return;
  fs::remove_all(root_ / folder);
  std::erase_if(files_, [&](const auto& file) { return IsOrLiesBelow(file.first, folder); });
  std::erase_if(folders_, [&](const std::string& path) { return IsOrLiesBelow(path, folder); });
}

void FolderModel::Moved(const std::string& from, const std::string& to) {
  std::map<std::string, int> files;
  for (const auto& [path, number] : files_)
    files[IsOrLiesBelow(path, from) ? to + path.substr(from.size()) : path] = number;
  files_ = std::move(files);
  for (std::string& folder : folders_) {
    if (IsOrLiesBelow(folder, from)) folder = to + folder.substr(from.size());
  }
}
