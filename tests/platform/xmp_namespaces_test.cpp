// The image reader leaves the XMP parser of its process as it found it.
#include "platform/xmp_namespaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>
#include <random>
#include <string>
#include <vector>

#include "platform/exiv2_scope.h"
#include "platform/image_cache.h"
#include "platform/safe_image.h"
#include "support/temp_dir.h"
#include "support/xmp_packet.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr const char* kOwn = "http://lumivault.example/own/";
constexpr const char* kOther = "http://lumivault.example/other/";

std::map<std::string, std::string> Registered() {
  std::map<std::string, std::string> registered;
  for (const auto& [space, info] : Exiv2::XmpProperties::nsRegistry_) registered.emplace(space, info.prefix_);
  return registered;
}

std::string Declared(const std::string& prefix, const std::string& space) {
  return "xmlns:" + prefix + "=\"" + space + "\" ";
}

std::string Listed(const Exiv2::XmpData& data) {
  std::string listed;
  for (const Exiv2::Xmpdatum& datum : data) {
    listed.append(datum.key()).append(" ").append(datum.typeName());
    listed.append(" ").append(datum.toString()).append("\n");
  }
  return listed;
}

class XmpNamespacesTest : public testing::Test {
 protected:
  void SetUp() override {
    SetImageCacheCount(0);
    Exiv2::XmpParser::initialize();
    Exiv2::XmpProperties::unregisterNs();
  }
  void TearDown() override { Exiv2::XmpProperties::unregisterNs(); }

  std::string Make(const std::string& namespaces, const std::string& properties) {
    const std::string path = dir_ / "a.jpg";
    MakeWithPacket(path, PacketOf(namespaces, properties));
    Exiv2::XmpProperties::unregisterNs();  // making it has taught them
    return path;
  }

  TempDir dir_;
};

TEST_F(XmpNamespacesTest, AFilesNamespacesAreForgotten) {
  const auto parsed = GetParsedImage(Make(Declared("lv", kOwn), "<lv:Word>a</lv:Word>"));
  EXPECT_EQ(Listed(parsed->xmp), "Xmp.lv.Word XmpText a\n");
  EXPECT_THAT(parsed->xmp_namespaces, ElementsAre(Pair("lv", kOwn)));
  EXPECT_TRUE(Registered().empty());
}

TEST_F(XmpNamespacesTest, TheProgramsOwnStay) {
  const std::string path = Make(Declared("lv", kOwn), "<lv:Word>a</lv:Word>");
  Exiv2::XmpProperties::registerNs(kOther, "host");
  const auto parsed = GetParsedImage(path);
  EXPECT_THAT(Registered(), ElementsAre(Pair(kOther, "host")));
  EXPECT_THAT(parsed->xmp_namespaces, ElementsAre(Pair("lv", kOwn)));
}

// The parser would give the prefix to the file.
TEST_F(XmpNamespacesTest, AFileDoesNotTakeThePrefixOfTheProgram) {
  const std::string path = Make(Declared("host", kOwn), "<host:Word>a</host:Word>");
  Exiv2::XmpProperties::registerNs(kOther, "host");
  EXPECT_EQ(Listed(GetParsedImage(path)->xmp), "Xmp.host.Word XmpText a\n");
  EXPECT_THAT(Registered(), ElementsAre(Pair(kOther, "host")));
}

TEST_F(XmpNamespacesTest, AFileDoesNotTakeAPrefixOfTheParsersOwn) {
  (void)GetParsedImage(Make(Declared("dc", kOwn), "<dc:title>a</dc:title>"));
  EXPECT_TRUE(Registered().empty());
  EXPECT_EQ(Exiv2::XmpProperties::ns("dc"), "http://purl.org/dc/elements/1.1/");
}

TEST_F(XmpNamespacesTest, ANamespaceOfTheProgramHasThePrefixThatItGave) {
  const std::string path = Make(Declared("lv", kOwn), "<lv:Word>a</lv:Word>");
  Exiv2::XmpProperties::registerNs(kOwn, "host");
  const auto parsed = GetParsedImage(path);
  EXPECT_EQ(Listed(parsed->xmp), "Xmp.host.Word XmpText a\n");
  EXPECT_TRUE(parsed->xmp_namespaces.empty());
  EXPECT_THAT(Registered(), ElementsAre(Pair(kOwn, "host")));
}

void CountLocks(void* count, bool locks) {
  if (locks) ++*static_cast<int*>(count);
}

TEST_F(XmpNamespacesTest, TheProgramsLockStays) {
  const std::string path = Make(Declared("lv", kOwn), "<lv:Word>a</lv:Word>");
  int count = 0;
  Exiv2::XmpParser::terminate();
  Exiv2::XmpParser::initialize(CountLocks, &count);
  (void)GetParsedImage(path);
  count = 0;
  Exiv2::XmpProperties::registerNs(kOther, "host");
  Exiv2::XmpData data;
  data["Xmp.host.Word"] = "a";
  std::string packet;
  EXPECT_EQ(Exiv2::XmpParser::encode(packet, data), 0);
  EXPECT_GT(count, 0);
  Exiv2::XmpParser::terminate();
  Exiv2::XmpParser::initialize();
}

// Files that use each other's prefixes and namespaces, and those of the parser.
class RandomPackets {
 public:
  explicit RandomPackets(unsigned seed) : random_(seed) {}

  // The parser refuses a property that stands twice.
  std::string NextThatIsRead() {
    Exiv2::XmpData read;
    std::string packet = Next();
    while (Exiv2::XmpParser::decode(read, packet) != 0) packet = Next();
    return packet;
  }

 private:
  std::string Next() {
    std::vector<std::string> prefixes;
    std::string namespaces;
    for (auto count = 1 + random_() % 3; count > 0; --count) {
      const std::string prefix = OneOf({"dc", "xmp", "foo", "bar", "stEvt", "MPRI", "xmpDM"});
      if (namespaces.find(prefix + "=") != std::string::npos) continue;
      prefixes.push_back(prefix);
      namespaces += Declared(prefix, Space());
    }
    std::string properties;
    for (auto count = 1 + random_() % 3; count > 0; --count) properties += Property(prefixes);
    return PacketOf(namespaces, properties);
  }
  std::string OneOf(const std::vector<std::string>& texts) { return texts[random_() % texts.size()]; }
  std::string Space() {
    return OneOf({kOwn, kOther, "http://purl.org/dc/elements/1.1/", "http://ns.adobe.com/xap/1.0/",
                  "http://ns.adobe.com/xap/1.0/sType/ResourceEvent#",
                  "http://ns.adobe.com/xmp/1.0/DynamicMedia/",
                  "http://ns.microsoft.com/photo/1.2/t/RegionInfo#"});
  }
  std::string Name(const std::vector<std::string>& prefixes) {
    return OneOf(prefixes) + ":" + OneOf({"title", "creator", "rights", "copyright", "Word", "CreateDate"});
  }
  std::string Property(const std::vector<std::string>& prefixes) {
    const std::string name = Name(prefixes);
    const std::string inner = Name(prefixes);
    const std::string field = "<" + inner + ">b</" + inner + ">";
    switch (random_() % 3) {
      case 0:
        return "<" + name + ">a</" + name + ">";
      case 1:
        return "<" + name + " rdf:parseType=\"Resource\">" + field + "</" + name + ">";
      default:
        return "<" + name + "><rdf:Bag><rdf:li rdf:parseType=\"Resource\" " +
               Declared(OneOf(prefixes), Space()) + ">" + field + "</rdf:li></rdf:Bag></" + name + ">";
    }
  }

  std::mt19937 random_;
};

// What the parser tells of FILE when it has read nothing before.
std::string FirstReading(const std::string& file) {
  Exiv2::XmpParser::terminate();
  const Exiv2::Image::AutoPtr image = OpenImageSafely(file);
  image->readMetadata();
  return Listed(image->xmpData());
}

TEST_F(XmpNamespacesTest, EveryFileIsReadAsTheFirstOfItsProcess) {
  constexpr int kFiles = 150;
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  RandomPackets packets(seed);
  std::vector<std::pair<std::string, std::string>> files;  // with what they tell
  {
    const Exiv2Scope silent;
    for (int i = 0; i < kFiles; ++i) {
      const std::string path = dir_ / (std::to_string(i) + ".jpg");
      MakeWithPacket(path, packets.NextThatIsRead());
      files.emplace_back(path, FirstReading(path));
      EXPECT_NE(files.back().second, "");
    }
  }
  Exiv2::XmpParser::terminate();
  for (const auto& [path, told] : files) EXPECT_EQ(Listed(GetParsedImage(path)->xmp), told);
}

}  // namespace
