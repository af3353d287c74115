#include "support/xmp_packet.h"

#include <exiv2/exiv2.hpp>

#include "support/media_maker.h"

void MakeWithPacket(const std::string& path, const std::string& packet) {
  constexpr int kSize = 8;
  MakeJpeg(path, kSize, kSize);
  const Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  image->writeXmpFromPacket(true);
  image->setXmpPacket(packet);
  image->writeMetadata();
  Exiv2::XmpProperties::unregisterNs();  // making it has taught them to this process
}
