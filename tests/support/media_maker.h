// Small media files of the tests' own.
#ifndef TESTS_SUPPORT_MEDIA_MAKER_H_
#define TESTS_SUPPORT_MEDIA_MAKER_H_

#include <filesystem>
#include <map>
#include <string>
#include <vector>

// Metadata to write into an image: Exiv2 keys ("Exif.Image.Orientation", "Iptc.Application2.Keywords",
// "Xmp.dc.subject") with the text of their value; a key may stand several times. "type=Bag" and
// "type=Struct" make the XMP nodes that the keys below them need.
using Tags = std::vector<std::pair<std::string, std::string>>;

// A face region of the metadata working group's schema that names PERSON.
Tags FaceTags(const std::string& person);

// A JPEG of WIDTH x HEIGHT pixels with these tags. Folders on the way are made.
void MakeJpeg(const std::filesystem::path& path, int width, int height, const Tags& tags = {});
// The same for the format that the extension names (png, tif, webp, gif, bmp).
void MakeImage(const std::filesystem::path& path, int width, int height, const Tags& tags = {});
// A short video with a sound track, made with ffmpeg; false when there is no ffmpeg.
[[nodiscard]] bool MakeVideo(const std::filesystem::path& path, int width, int height, double seconds);

// The same, 64 x 48 pixels and a second long, with these tags of the container ("creation_time").
[[nodiscard]] bool MakeTaggedVideo(const std::filesystem::path& path, const Tags& tags);
// What ffmpeg makes of these arguments ("-c:v flv1") from a second of such picture and sound.
[[nodiscard]] bool MakeCodedVideo(const std::filesystem::path& path, const std::string& arguments);

// The folder of shared test photos, or an empty path where it is not present.
std::filesystem::path SharedPhotos();

#endif  // TESTS_SUPPORT_MEDIA_MAKER_H_
