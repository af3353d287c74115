// The pictures that stand for a photo or video, beside it.
#ifndef TOOLS_PREVIEW_PREVIEW_SET_H_
#define TOOLS_PREVIEW_PREVIEW_SET_H_

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>
#include <vips/vips8>

struct PreviewForm {
  const char* name;  // of its file
  int side;          // the most pixels of its longer side
};
// From the largest on; each of the others is made from the one before.
inline constexpr std::array kPreviewForms{
    PreviewForm{"KAVOPHOTO_THUMB_XL.jpg", 1280},
    PreviewForm{"KAVOPHOTO_THUMB_B.jpg", 640},
    PreviewForm{"KAVOPHOTO_THUMB_M.jpg", 320},
    PreviewForm{"KAVOPHOTO_THUMB_S.jpg", 120},
};

// A JPEG of each form, in their order.
using Previews = std::array<std::vector<std::uint8_t>, kPreviewForms.size()>;

// Of LARGEST, which is no larger than the first form.
Previews MakePreviews(const vips::VImage& largest);

// Puts PREVIEWS into the side folder of the file PATH, for whoever may read that, as its MODE says: each is
// the old one or the new one at every moment, the largest last, by which others see that there are previews.
// Throws a std::exception; nothing was changed then, but where a name itself cannot be given.
void StorePreviews(const std::string& path, mode_t mode, const Previews& previews);

#endif  // TOOLS_PREVIEW_PREVIEW_SET_H_
