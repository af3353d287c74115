#include "support/heif_maker.h"

#include <numeric>

namespace {

constexpr int kLong = 4;
constexpr int kShort = 2;
constexpr int kQuarters = 3;  // bits of a turn

bool IsPicture(const HeifItem& item) {
  return item.type != "Exif" && item.type != "mime";
}

std::string FullBox(const std::string& kind, int version, const std::string& content) {
  return Box(kind, BigEndian(static_cast<std::uint64_t>(version), 1) + std::string(3, '\0') + content);
}

std::string SizeBox(const HeifItem& item) {
  return FullBox("ispe", 0,
                 BigEndian(static_cast<std::uint64_t>(item.width), kLong) +
                     BigEndian(static_cast<std::uint64_t>(item.height), kLong));
}

std::string CodecBox() {
  return Box("av1C", std::string("\x81\x00\x0C\x00", 4));
}

std::vector<std::string> PropertiesOf(const HeifItem& item) {
  if (!IsPicture(item)) return {};
  std::vector<std::string> boxes = {SizeBox(item)};
  if (item.type == "av01") boxes.push_back(CodecBox());
  boxes.insert(boxes.end(), item.properties.begin(), item.properties.end());
  return boxes;
}

std::string Number(int number, int bytes) {
  return BigEndian(static_cast<std::uint64_t>(number), bytes);
}

// Each property stands once for each item that has it.
std::string PropertyBoxes(const std::vector<HeifItem>& items) {
  std::string boxes;
  std::string links;
  int index = 0;
  for (const HeifItem& item : items) {
    const std::vector<std::string> properties = PropertiesOf(item);
    links += Number(item.id, kShort) + Number(static_cast<int>(properties.size()), 1);
    for (const std::string& property : properties) {
      boxes += property;
      links += Number(++index, 1);
    }
  }
  const std::string table = FullBox("ipma", 0, Number(static_cast<int>(items.size()), kLong) + links);
  return Box("iprp", Box("ipco", boxes) + table);
}

const std::string kXmpType = "application/rdf+xml";

std::string ItemTable(const std::vector<HeifItem>& items) {
  std::string entries;
  for (const HeifItem& item : items)
    entries += FullBox("infe", 2,
                       Number(item.id, kShort) + Number(0, kShort) + item.type + '\0' +
                           (item.type == "mime" ? kXmpType + '\0' : ""));
  return FullBox("iinf", 0, Number(static_cast<int>(items.size()), kShort) + entries);
}

std::string References(const std::vector<HeifItem>& items) {
  std::string boxes;
  for (const HeifItem& item : items) {
    std::string parts = Number(item.id, kShort) + Number(static_cast<int>(item.parts.size()), kShort);
    for (const int part : item.parts) parts += Number(part, kShort);
    if (!item.parts.empty()) boxes += Box("dimg", parts);
    if (item.describes != 0)
      boxes += Box("cdsc", Number(item.id, kShort) + Number(1, kShort) + Number(item.describes, kShort));
  }
  return boxes.empty() ? "" : FullBox("iref", 0, boxes);
}

// Where the data of each item is, the first at START.
std::string Locations(const std::vector<HeifItem>& items, std::size_t start) {
  std::string entries;
  for (const HeifItem& item : items) {
    entries += Number(item.id, kShort) + Number(0, kShort) + Number(1, kShort) + BigEndian(start, kLong) +
               BigEndian(item.data.size(), kLong);
    start += item.data.size();
  }
  return FullBox("iloc", 0,
                 std::string("\x44\0", 2) + Number(static_cast<int>(items.size()), kShort) + entries);
}

std::string MetaBox(const std::vector<HeifItem>& items, int primary, std::size_t start) {
  const std::string handler = FullBox("hdlr", 0, Number(0, kLong) + "pict" + std::string(13, '\0'));
  return FullBox("meta", 0,
                 handler + FullBox("pitm", 0, Number(primary, kShort)) + Locations(items, start) +
                     ItemTable(items) + References(items) + PropertyBoxes(items));
}

}  // namespace

std::string BigEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int byte = bytes - 1; byte >= 0; --byte)
    text += static_cast<char>(number >> (8U * static_cast<unsigned>(byte)));
  return text;
}

std::string Box(const std::string& kind, const std::string& content) {
  constexpr std::size_t kHeader = 8;
  return BigEndian(kHeader + content.size(), kLong) + kind + content;
}

std::string CropBox(int width, int height) {
  const std::string one = Number(1, kLong);
  return Box("clap", Number(width, kLong) + one + Number(height, kLong) + one + Number(0, kLong) + one +
                         Number(0, kLong) + one);
}

std::string TurnBox(int quarters) {
  return Box("irot", Number(quarters & kQuarters, 1));
}

std::string MirrorBox() {
  return Box("imir", Number(0, 1));
}

std::string ProfileBox(const std::string& profile) {
  return Box("colr", "prof" + profile);
}

std::string MakeHeif(const std::vector<HeifItem>& items, int primary, const std::string& brand) {
  const std::string head = Box("ftyp", brand + Number(0, kLong) + "mif1" + brand);
  constexpr std::size_t kBoxHeader = 8;
  const std::size_t start = head.size() + MetaBox(items, primary, 0).size() + kBoxHeader;
  std::string data;
  for (const HeifItem& item : items) data += item.data;
  return head + MetaBox(items, primary, start) + Box("mdat", data);
}
