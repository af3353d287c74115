#ifndef BENCH_PHOTO_SET_H_
#define BENCH_PHOTO_SET_H_

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

// Removes an SQLite database with what lies beside it.
void RemoveDatabase(const std::filesystem::path& file);

// Fills FOLDER with COUNT files made from the photos below SOURCE that ordinary_photos.txt names, or else
// from all there that Exiv2 can read, taken in turn. Every copy has a name and, where its format allows bytes
// behind the image, a content of its own. The copies are in the page cache afterwards.
std::vector<std::string> MakePhotoSet(const std::filesystem::path& source,
                                      const std::filesystem::path& folder, std::size_t count);

// Removes an SQLite database with what lies beside it.
void RemoveDatabase(const std::filesystem::path& file);

// Fills FOLDER with COUNT files of the content of PHOTO.
void MakeCopies(const std::filesystem::path& photo, const std::filesystem::path& folder, std::size_t count);

#endif  // BENCH_PHOTO_SET_H_
