#include "worker/reason_text.h"

#include <algorithm>
#include <array>

namespace {

// How a library's text begins, and ours. The first that fits.
struct Wording {
  std::string_view library;
  std::string_view ours;
};

constexpr std::string_view kBadMetadata = "its metadata is damaged";
constexpr std::string_view kBadPicture = "the picture is damaged or cut short";
constexpr std::string_view kOtherFormat = "it is no picture, or of a format that is not read";
constexpr std::string_view kOtherVideo = "it is no video, or of a format that is not read";
constexpr std::string_view kBadVideo = "the video is damaged or cut short, or it is none";

constexpr std::array kWordings{
    // Of pictures. The metadata of every format is laid out as a TIFF image.
    Wording{"The file contains data of an unknown image type", kOtherFormat},
    Wording{"Image type ", kOtherFormat},
    Wording{"This does not look like a TIFF image", kBadMetadata},
    Wording{"This does not look like a ", kBadPicture},
    Wording{"Failed to read image data", kBadPicture},
    Wording{"Failed to read input data", kBadPicture},
    Wording{"Not a valid ICC Profile", "its colour profile is damaged"},
    Wording{"corrupted image metadata", kBadMetadata},
    Wording{"tiff directory length is too large", kBadMetadata},
    Wording{"invalid type in tiff structure", kBadMetadata},
    Wording{"invalid memory allocation request", kBadMetadata},
    Wording{"Offset out of range", kBadMetadata},
    Wording{"Arithmetic operation overflow", kBadMetadata},
    Wording{"Unsupported data area offset type", kBadMetadata},
    Wording{"Invalid charset", kBadMetadata},
    Wording{"Invalid XmpText type", kBadMetadata},
    Wording{"Invalid LangAlt value", kBadMetadata},
    Wording{"XMP Toolkit error ", kBadMetadata},
    Wording{"Unhandled XMP node ", kBadMetadata},
    Wording{"Failed to decode Lang Alt ", kBadMetadata},
    Wording{"No prefix registered for namespace ", kBadMetadata},
    Wording{"No namespace info available for XMP prefix ", kBadMetadata},
    Wording{"Schema namespace ", kBadMetadata},
    Wording{"Invalid slice bounds specified", kBadMetadata},
    Wording{"Invalid input parameters to slice", kBadMetadata},
    Wording{"TIFF directory ", kBadMetadata},
    // Of videos.
    Wording{"Invalid data found when processing input", kBadVideo},
    Wording{"Demuxer not found", kOtherVideo},
    Wording{"Decoder not found", kOtherVideo},
    Wording{"Not yet implemented in FFmpeg", kOtherVideo},
    Wording{"Protocol not found", kBadVideo},
    Wording{"Stream not found", kBadVideo},
    Wording{"End of file", kBadVideo},
    Wording{"Unknown error occurred", kBadVideo},
    // Of both; a reader that meets nonsense gives up with an error of the system.
    Wording{"Cannot allocate memory", "reading it takes more memory than one file may have"},
    Wording{"std::bad_alloc", "reading it takes more memory than one file may have"},
    Wording{"Input/output error", "it cannot be read to its end"},
    Wording{"Numerical result out of range", "it holds numbers that make no sense"},
};

constexpr std::string_view kRefused = "the database refused it";

// "Failed to exec [STATEMENT] (ERROR); ..." without the statement, which may be a page long.
std::string WithoutStatement(std::string_view reason) {
  const std::size_t error = reason.rfind("] (");
  const std::size_t end = reason.rfind(')');
  std::string text(kRefused);
  if (error == std::string_view::npos || end == std::string_view::npos || end < error) return text;
  constexpr std::size_t kBrackets = 3;
  return text.append(" [").append(reason.substr(error + kBrackets, end - error - kBrackets)).append("]");
}

}  // namespace

std::string ReasonForPeople(std::string_view reason) {
  if (reason.starts_with("Failed to exec [")) return WithoutStatement(reason);
  const auto* found = std::find_if(kWordings.begin(), kWordings.end(), [&](const Wording& wording) {
    return reason.starts_with(wording.library);
  });
  if (found == kWordings.end()) return std::string(reason);
  return std::string(found->ours).append(" [").append(reason).append("]");
}
