// Where on a photo a person is.
#ifndef PHOTO_DATABASE_PEOPLE_RECTANGLE_H_
#define PHOTO_DATABASE_PEOPLE_RECTANGLE_H_

#include <optional>
#include <string>

// From the top left corner, in parts of the image's width and height.
struct Rectangle {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};

// "0.100000, 0.200000, 0.300000, 0.400000", the form in which metadata regions travel.
std::string RectangleText(const Rectangle& rectangle);
// Exactly four numbers separated by ", "; a text of another form is logged.
std::optional<Rectangle> ParseMetadataRectangle(const std::string& text);
// The face information of the database: {"x":0.1,"y":0.2,"width":0.3,"height":0.4}, perhaps with a face
// element, which is not read. What lacks one of the four numbers is logged.
std::optional<Rectangle> ParseFaceInfo(const std::string& text);

// True when a metadata region and a face of the database are the same place: x, y, width and height differ by
// at most a hundredth each. A metadata region refers to the image as it is stored, a detected face to the
// image as it is shown, and what this library copies from metadata is stored as it stands; so the region may
// agree as it is or turned by ORIENTATION (the photo's code, 1 to 8; any other turns nothing). An empty
// extent of the region counts as the thousandth that a link stores for it.
bool RectanglesAgree(const Rectangle& metadata, const Rectangle& face, int orientation);

// Writes a rectangle text ("x y width height", commas allowed) as face information into JSON, less than 255
// bytes. A missing or unusable number is 0; an empty extent becomes a thousandth. Always 1.
int getPeopleTaggingRectangleToJson(const char* rectangle, std::string* json);

#endif  // PHOTO_DATABASE_PEOPLE_RECTANGLE_H_
