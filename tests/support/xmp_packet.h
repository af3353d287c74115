#ifndef TESTS_SUPPORT_XMP_PACKET_H_
#define TESTS_SUPPORT_XMP_PACKET_H_

#include <string>

// An XMP packet with PROPERTIES inside of a description that declares NAMESPACES.
inline std::string PacketOf(const std::string& namespaces, const std::string& properties) {
  return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
         "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
         "<rdf:Description rdf:about=\"\" " +
         namespaces + ">" + properties + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}

// Makes the small JPEG at PATH with exactly PACKET in it.
void MakeWithPacket(const std::string& path, const std::string& packet);

#endif  // TESTS_SUPPORT_XMP_PACKET_H_
