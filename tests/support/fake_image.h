// The substitute of the opening of images.
#ifndef TESTS_SUPPORT_FAKE_IMAGE_H_
#define TESTS_SUPPORT_FAKE_IMAGE_H_

#include <exiv2/exiv2.hpp>
#include <functional>
#include <string>

// Replaces KAVOImageOpen; empty: the file at PATH is read, anew each time.
std::function<Exiv2::Image::AutoPtr(const std::string& path)>& OpenedImage();

#endif  // TESTS_SUPPORT_FAKE_IMAGE_H_
