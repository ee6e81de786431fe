#include "trelPlyHeader.h"

#include <algorithm>
#include <cstring>

#include "trelMeshText.h"
#include "trelText.h"

/** The number that the first bytes hold. The program runs on little-endian machines. */
template <class Number>
static double Decode(const unsigned char* bytes)
{
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return static_cast<double>(number);
}

/** A type of numbers: its two names, its bytes. */
struct PlyType
{
  const char* names[2];
  int size;
  double (*decode)(const unsigned char*);
};

static const PlyType PlyTypes[] = {
    {{"int8", "char"}, 1, Decode<std::int8_t>},    {{"uint8", "uchar"}, 1, Decode<std::uint8_t>},
    {{"int16", "short"}, 2, Decode<std::int16_t>}, {{"uint16", "ushort"}, 2, Decode<std::uint16_t>},
    {{"int32", "int"}, 4, Decode<std::int32_t>},   {{"uint32", "uint"}, 4, Decode<std::uint32_t>},
    {{"float32", "float"}, 4, Decode<float>},      {{"float64", "double"}, 8, Decode<double>},
};

static int TypeOf(std::string_view word)
{
  int type = 0;
  while (type < PlyUnknownType && !EqualWords(word, PlyTypes[type].names[0]) &&
         !EqualWords(word, PlyTypes[type].names[1]))
    ++type;
  return type;
}

int PlySizeOf(int type)
{
  return type < PlyUnknownType ? PlyTypes[type].size : 0;
}

double DecodePlyNumber(int type, const unsigned char* bytes)
{
  return PlyTypes[type].decode(bytes);
}

bool PlyElement::has(PlyPropertyKind property) const
{
  return std::any_of(properties.begin(), properties.end(),
                     [property](const PlyProperty& other) { return other.kind == property; });
}

/** The kind of a number by its name, which stands in either of two words. */
static PlyPropertyKind ScalarKind(std::string_view word, std::string_view otherWord)
{
  static const struct
  {
    const char* name;
    PlyPropertyKind kind;
  } names[] = {{"x", PlyX},        {"y", PlyY},         {"z", PlyZ},    {"nx", PlyNormalX},
               {"ny", PlyNormalY}, {"nz", PlyNormalZ},  {"r", PlyRed},  {"red", PlyRed},
               {"g", PlyGreen},    {"green", PlyGreen}, {"b", PlyBlue}, {"blue", PlyBlue}};
  for (const auto& entry : names)
    if (EqualWords(word, entry.name) || EqualWords(otherWord, entry.name)) return entry.kind;
  return PlyOtherScalar;
}

void trelPlyHeader::TakeLine(const std::vector<std::string_view>& tokens)
{
  if (EqualWords(tokens[0], "format"))
    TakeFormat(tokens);
  else if (EqualWords(tokens[0], "element"))
    TakeElement(tokens);
  else if (EqualWords(tokens[0], "property"))
    TakeProperty(tokens);
}

void trelPlyHeader::TakeFormat(const std::vector<std::string_view>& tokens)
{
  static const char* const names[] = {"ascii", "binary_little_endian", "binary_big_endian"};
  if (tokens.size() < 2) return;
  for (int i = 0; i < 3; ++i)
    if (EqualWords(tokens[1], names[i])) Format = static_cast<PlyFormat>(i);
}

void trelPlyHeader::TakeElement(const std::vector<std::string_view>& tokens)
{
  if (tokens.size() < 3) return;
  PlyElement element;
  element.count = static_cast<std::int32_t>(IntegerOf(tokens[2]));
  if (EqualWords(tokens[1], "vertex")) {
    element.kind = PlyVertexElement;
    VertexCount = element.count;
  } else if (EqualWords(tokens[1], "face")) {
    element.kind = PlyFaceElement;
    FaceCount = element.count;
  }
  Elements.push_back(element);
}

void trelPlyHeader::TakeProperty(const std::vector<std::string_view>& tokens)
{
  if (Elements.empty()) return;
  PlyProperty property;
  if (tokens.size() == 3) {
    property.kind = ScalarKind(tokens[1], tokens[2]);
    property.value_type = TypeOf(tokens[1]);
    if (property.value_type == PlyUnknownType) property.value_type = TypeOf(tokens[2]);
  } else if (tokens.size() == 5) {
    if (EqualWords(tokens[1], "list")) {
      const bool corners =
          EqualWords(tokens[4], "vertex_index") || EqualWords(tokens[4], "vertex_indices");
      property.kind = corners ? PlyVertexIndices : PlyOtherList;
      property.list_count_type = TypeOf(tokens[2]);
      property.value_type = TypeOf(tokens[3]);
    }
  } else {
    return;
  }
  property.value_size = PlySizeOf(property.value_type);
  property.list_count_size = PlySizeOf(property.list_count_type);
  Elements.back().properties.push_back(property);
}
