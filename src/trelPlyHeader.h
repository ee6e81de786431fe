#ifndef trelPlyHeader_h
#define trelPlyHeader_h

#include <cstdint>
#include <string_view>
#include <vector>

/** What a property of a PLY element is, by its name. */
enum PlyPropertyKind
{
  PlyX = 0,
  PlyY = 1,
  PlyZ = 2,
  PlyRed = 3,
  PlyGreen = 4,
  PlyBlue = 5,
  PlyNormalX = 6,
  PlyNormalY = 7,
  PlyNormalZ = 8,
  PlyVertexIndices = 9,
  PlyOtherList = 10,
  PlyOtherScalar = 11
};

/** The types of numbers, counted: the integers of 8, 16 and 32 bits, the float and the double. A
 * word that names none of them is of the unknown type, whose numbers have no bytes. */
constexpr int PlyFloatType = 6;
constexpr int PlyUnknownType = 8;

/** How many bytes a number of @p type takes. */
int PlySizeOf(int type);
/** The number of the known @p type that the first bytes hold, the lowest in front. */
double DecodePlyNumber(int type, const unsigned char* bytes);

/** A column of an element: a number, or a list with its length in front. */
struct PlyProperty
{
  PlyPropertyKind kind = PlyOtherScalar;
  int value_type = PlyUnknownType;
  int list_count_type = PlyUnknownType;
  int value_size = 0;
  int list_count_size = 0;

  /** Whether a length stands in front, and that many numbers behind it. */
  bool is_list() const { return kind == PlyVertexIndices || kind == PlyOtherList; }
};

/** What the rows of an element are, by its name. */
enum PlyElementKind
{
  PlyVertexElement = 0,
  PlyFaceElement = 1,
  PlyOtherElement = 2
};

/** A table of the file: how many rows, and their columns. */
struct PlyElement
{
  PlyElementKind kind = PlyOtherElement;
  std::int32_t count = 0;
  std::vector<PlyProperty> properties;

  /** Whether a column is of that kind. */
  bool has(PlyPropertyKind property) const;
};

/** How the numbers behind the header are written. */
enum PlyFormat
{
  PlyAscii = 0,
  PlyLittleEndian = 1,
  PlyBigEndian = 2,
  PlyUnknownFormat = 3
};

/**
 * @class   trelPlyHeader
 * @brief   what the header of a PLY file announces: its format and its elements
 *
 * Takes the header line by line, cut into tokens. A line that says nothing usable is passed over.
 */
struct trelPlyHeader
{
  /** Takes a line, of one token at least, that neither begins nor ends the header. */
  void TakeLine(const std::vector<std::string_view>& tokens);

  /** Unknown until a line names one of the three. */
  PlyFormat Format = PlyUnknownFormat;
  /** The rows of the last element called "vertex", and of the last called "face"; 0 without one. */
  std::int32_t VertexCount = 0;
  std::int32_t FaceCount = 0;
  std::vector<PlyElement> Elements;

private:
  void TakeFormat(const std::vector<std::string_view>& tokens);
  void TakeElement(const std::vector<std::string_view>& tokens);
  void TakeProperty(const std::vector<std::string_view>& tokens);
};

#endif
