#include "PlyFileReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "trelFaceUnitNormal.h"
#include "trelMemory.h"
#include "trelMeshText.h"
#include "trelPaths.h"
#include "trelText.h"

static const char* const VertexReadError = "Error when reading vertex data!\n";
static const char* const FaceReadError = "Error when reading face data!\n";

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
static constexpr int PlyFloatType = 6;
static constexpr int PlyUnknownType = 8;

static int TypeOf(std::string_view word)
{
  int type = 0;
  while (type < PlyUnknownType && !EqualWords(word, PlyTypes[type].names[0]) &&
         !EqualWords(word, PlyTypes[type].names[1]))
    ++type;
  return type;
}

static int SizeOf(int type)
{
  return type < PlyUnknownType ? PlyTypes[type].size : 0;
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

/** Where a property goes in a vertex record of six floats; -1 if it is not kept. */
static int VertexSlot(PlyPropertyKind kind)
{
  if (kind <= PlyZ) return kind;
  return kind >= PlyNormalX && kind <= PlyNormalZ ? kind - PlyNormalX + 3 : -1;
}

/** Whether rows begin with x, y, z, nx, ny, nz as floats, which can be read as they are. */
static bool BeginsWithSixFloats(const std::vector<PlyProperty>& properties)
{
  if (properties.size() < 6) return false;
  for (int i = 0; i < 6; ++i) {
    const PlyProperty& property = properties[static_cast<std::size_t>(i)];
    if (VertexSlot(property.kind) != i || property.value_type != PlyFloatType) return false;
  }
  return true;
}

static bool HasKind(const std::vector<PlyProperty>& properties, PlyPropertyKind kind)
{
  return std::any_of(properties.begin(), properties.end(),
                     [kind](const PlyProperty& property) { return property.kind == kind; });
}

PlyFileReader::~PlyFileReader()
{
  close();
}

void PlyFileReader::close()
{
  if (file) std::fclose(file);
  file = nullptr;
}

bool PlyFileReader::fail(const char* text)
{
  error += text;
  return false;
}

bool PlyFileReader::OpenPlyFile(const char* file_name)
{
  close();
  error.clear();
  elements.clear();
  vertex_cache.clear();
  vertex_count = face_count = 0;
  without_normals = true;
  vertex_position_known = face_position_known = false;
  format = PlyUnknownFormat;
  file = OpenRegularFile(file_name);
  if (!file) return fail("Can not open file!\n");
  file_size = MeasureFile(file);
  if (!ParsePlyHeader()) return false;
  if (format == PlyUnknownFormat) return fail("Unknown file format!\n");
  return format == PlyAscii || seek_binary_data(file_name);
}

bool PlyFileReader::read_line()
{
  constexpr int longest = 4094;
  tokens.clear();
  if (!std::fgets(line_buffer, longest + 1, file)) return false;
  SplitTokens(line_buffer, tokens);
  return true;
}

bool PlyFileReader::ParsePlyHeader()
{
  if (file_size == 0 || !read_line() || tokens.empty() || !EqualWords(tokens[0], "ply"))
    return fail("Not a valid PLY file!\n");
  while (read_line()) {
    if (tokens.empty()) continue;
    if (EqualWords(tokens[0], "format"))
      parse_format();
    else if (EqualWords(tokens[0], "element"))
      parse_element();
    else if (EqualWords(tokens[0], "property"))
      parse_property();
    else if (EqualWords(tokens[0], "end_header"))
      return true;
  }
  return fail("End of header not found!\n");
}

void PlyFileReader::parse_format()
{
  static const char* const names[] = {"ascii", "binary_little_endian", "binary_big_endian"};
  if (tokens.size() < 2) return;
  for (int i = 0; i < 3; ++i)
    if (EqualWords(tokens[1], names[i])) format = static_cast<PlyFormat>(i);
}

void PlyFileReader::parse_element()
{
  if (tokens.size() < 3) return;
  PlyElement element;
  element.count = static_cast<std::int32_t>(IntegerOf(tokens[2]));
  if (EqualWords(tokens[1], "vertex")) {
    element.kind = PlyVertexElement;
    vertex_count = element.count;
  } else if (EqualWords(tokens[1], "face")) {
    element.kind = PlyFaceElement;
    face_count = element.count;
  }
  elements.push_back(element);
}

void PlyFileReader::parse_property()
{
  if (elements.empty()) return;
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
  property.value_size = SizeOf(property.value_type);
  property.list_count_size = SizeOf(property.list_count_type);
  elements.back().properties.push_back(property);
}

bool PlyFileReader::seek_binary_data(const char* file_name)
{
  close();
  file = OpenRegularFile(file_name, "rb");
  if (!file) return fail("Can not open file!\n");
  long start = 0;
  if (find_data_start(&start) && std::fseek(file, start, SEEK_SET) == 0) return true;
  return fail("End of header not found!\n");
}

/** The data follow the first "end_header" in any letter case, behind at most two characters that
 * end a line, even where the second belongs to the data. */
bool PlyFileReader::find_data_start(long* start)
{
  static const char mark[] = "end_header";
  char window[sizeof mark] = {};
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
    std::memmove(window, window + 1, sizeof mark - 2);
    window[sizeof mark - 2] = static_cast<char>(c);
    ++*start;
    if (!EqualWords(window, mark)) continue;
    for (int ends = 0; ends < 2; ++ends, ++*start) {
      c = std::fgetc(file);
      if (c != '\n' && c != '\r') break;
    }
    return true;
  }
  return false;
}

bool PlyFileReader::check_counts()
{
  if (vertex_count > file_size) return fail(VertexReadError);
  if (face_count > file_size) return fail(FaceReadError);
  // A number has a byte at least. Those of unknown type have none; a header full of them must not
  // keep us busy for longer than the file is.
  constexpr std::int64_t most = 16;
  for (const PlyElement& element : elements) {
    const auto width = static_cast<std::int64_t>(element.properties.size());
    if (width * element.count <= most * file_size) continue;
    if (element.kind == PlyVertexElement) return fail(VertexReadError);
    if (element.kind == PlyFaceElement) return fail(FaceReadError);
  }
  return true;
}

bool PlyFileReader::read_vert_data(float* vertices)
{
  if (!vertices || !error.empty()) return false;
  if (!file) return fail("No file has been opened!\n");
  if (elements.empty() || elements[0].kind != PlyVertexElement || elements[0].count != vertex_count)
    return fail("Vertex data error!\n");
  if (!vertex_position_known) {
    vertex_position = std::ftell(file);
    vertex_position_known = true;
  } else if (!vertex_cache.empty()) {
    std::copy(vertex_cache.begin(), vertex_cache.end(), vertices);
    std::vector<float>().swap(vertex_cache);
    return true;
  } else if (std::fseek(file, vertex_position, SEEK_SET) != 0) {
    return fail(VertexReadError);
  }

  const std::vector<PlyProperty>& properties = elements[0].properties;
  if (!HasKind(properties, PlyX) || !HasKind(properties, PlyY) || !HasKind(properties, PlyZ))
    return fail("No coordinates information!\n");
  without_normals = !HasKind(properties, PlyNormalX) || !HasKind(properties, PlyNormalY) ||
                    !HasKind(properties, PlyNormalZ);
  if (!read_vertex_rows(vertices)) return false;
  for (std::int32_t i = 0; !without_normals && i < vertex_count; ++i)
    UnitVector(vertices + std::ptrdiff_t{6} * i + 3);
  return true;
}

bool PlyFileReader::read_vertex_rows(float* vertices)
{
  const std::vector<PlyProperty>& properties = elements[0].properties;
  const bool sixFloats = format != PlyAscii && BeginsWithSixFloats(properties);
  if (sixFloats && properties.size() == 6)
    return read_floats(vertices, static_cast<std::size_t>(vertex_count) * 6);
  for (std::int32_t i = 0; i < vertex_count; ++i, vertices += 6) {
    bool complete;
    if (format == PlyAscii)
      complete = read_ascii_vertex(vertices);
    else if (sixFloats)
      complete = read_floats_and_more(vertices);
    else
      complete = read_binary_vertex(i, vertices);
    if (!complete) return false;
  }
  return true;
}

bool PlyFileReader::read_floats(float* values, std::size_t count)
{
  if (std::fread(values, sizeof(float), count, file) != count) return fail(VertexReadError);
  for (std::size_t i = 0; format == PlyBigEndian && i < count; ++i) {
    unsigned char bytes[sizeof(float)];
    std::memcpy(bytes, values + i, sizeof bytes);
    std::reverse(bytes, bytes + sizeof bytes);
    std::memcpy(values + i, bytes, sizeof bytes);
  }
  return true;
}

/** A row that begins with the six floats of a vertex record. */
bool PlyFileReader::read_floats_and_more(float* vertex)
{
  const std::vector<PlyProperty>& properties = elements[0].properties;
  if (!read_floats(vertex, 6)) return false;
  return std::all_of(properties.begin() + 6, properties.end(),
                     [this](const PlyProperty& property) { return skip_property(property); }) ||
         fail(VertexReadError);
}

/** Stores a number where it belongs, if anywhere. */
void PlyFileReader::keep_number(const PlyProperty& property, float number, float* vertex) const
{
  const int slot = VertexSlot(property.kind);
  if (slot >= 0 && (slot < 3 || !without_normals)) vertex[slot] = number;
}

bool PlyFileReader::read_ascii_vertex(float* vertex)
{
  const std::vector<PlyProperty>& properties = elements[0].properties;
  if (!read_line() || tokens.size() < properties.size()) return fail(VertexReadError);
  std::size_t token = 0;
  for (const PlyProperty& property : properties) {
    if (token < tokens.size()) keep_number(property, FloatOf(tokens[token]), vertex);
    if (!skip_tokens(property, &token)) return fail(VertexReadError);
  }
  return true;
}

bool PlyFileReader::read_binary_vertex(std::int32_t row, float* vertex)
{
  const std::vector<PlyProperty>& properties = elements[0].properties;
  for (std::size_t i = 0; i < properties.size(); ++i) {
    const PlyProperty& property = properties[i];
    double number = 0;
    const bool isKept = VertexSlot(property.kind) >= 0;
    if (isKept ? read_value(property.value_type, &number) : skip_property(property)) {
      keep_number(property, static_cast<float>(number), vertex);
      continue;
    }
    fail(VertexReadError);
    return fail(("reading vertex no." + std::to_string(row) + "\nproperty no." + std::to_string(i))
                    .c_str());
  }
  return true;
}

bool PlyFileReader::read_face_data(std::uint32_t* faces)
{
  if (!file) return fail("No file has been opened!\n");
  if (elements.size() < 2 || elements[1].kind != PlyFaceElement ||
      elements[1].count != face_count || !HasKind(elements[1].properties, PlyVertexIndices))
    return fail("Face data error!\n");
  if (!faces || !seek_faces()) return false;
  for (std::int32_t i = 0; i < face_count; ++i, faces += 3) {
    if (!(format == PlyAscii ? read_ascii_face(i, faces) : read_binary_face(i, faces)))
      return false;
  }
  return true;
}

/** Goes to the first face, which follows the last vertex. */
bool PlyFileReader::seek_faces()
{
  if (face_position_known)
    return std::fseek(file, face_position, SEEK_SET) == 0 || fail(FaceReadError);
  if (!vertex_position_known) {
    std::vector<float> vertices;
    const bool fits = FitsInMemory([&] {
      if (check_counts()) vertices.resize(static_cast<std::size_t>(std::max(vertex_count, 0)) * 6);
    });
    if (!fits) return fail("Please call PlyFileReader::read_vert_data() first!");
    if (!read_vert_data(vertices.data())) return false;
    vertex_cache.swap(vertices);
  }
  face_position = std::ftell(file);
  face_position_known = face_position >= 0;
  return face_position_known || fail(VertexReadError);
}

bool PlyFileReader::read_ascii_face(std::int32_t row, std::uint32_t* face)
{
  if (!read_line()) return fail(FaceReadError);
  std::size_t token = 0;
  for (const PlyProperty& property : elements[1].properties) {
    if (property.kind != PlyVertexIndices) {
      if (!skip_tokens(property, &token)) return fail(FaceReadError);
      continue;
    }
    if (token >= tokens.size()) return fail(FaceReadError);
    const std::int64_t corners = IntegerOf(tokens[token]);
    if (corners != 3) return fail_polygon(row, corners);
    if (token + 3 >= tokens.size()) return fail(FaceReadError);
    for (std::size_t i = 0; i < 3; ++i)
      if (!store_index(static_cast<double>(IntegerOf(tokens[token + 1 + i])), face + i))
        return false;
    return true;
  }
  return true;
}

bool PlyFileReader::read_binary_face(std::int32_t row, std::uint32_t* face)
{
  for (const PlyProperty& property : elements[1].properties) {
    if (property.kind != PlyVertexIndices) {
      if (!skip_property(property)) return fail(FaceReadError);
      continue;
    }
    std::int64_t corners = 0;
    if (!read_list_count(property, &corners)) return fail(FaceReadError);
    if (corners != 3) return fail_polygon(row, corners);
    for (int i = 0; i < 3; ++i) {
      double index = 0;
      if (!read_value(property.value_type, &index)) return fail(FaceReadError);
      if (!store_index(index, face + i)) return false;
    }
  }
  return true;
}

bool PlyFileReader::fail_polygon(std::int32_t row, std::int64_t corners)
{
  fail("Only triangle face is supported!\n");
  return fail(("face no." + std::to_string(row) + "\nnumber of vertices in this face : " +
               std::to_string(static_cast<std::int32_t>(corners)))
                  .c_str());
}

bool PlyFileReader::store_index(double value, std::uint32_t* index)
{
  // In this form a value that is not a number fails too.
  if (!(value > -1.0 && value < vertex_count)) return fail(FaceReadError);
  *index = static_cast<std::uint32_t>(std::max(value, 0.0));
  return true;
}

/** Reads a number of the given type; false at the end of the file or for an unknown type. */
bool PlyFileReader::read_value(int type, double* value)
{
  unsigned char bytes[8] = {};
  const auto size = static_cast<std::size_t>(SizeOf(type));
  if (size == 0 || std::fread(bytes, 1, size, file) != size) return false;
  const unsigned char* first = bytes;
  if (format == PlyBigEndian) {
    std::reverse(std::begin(bytes), std::end(bytes));
    first = std::end(bytes) - size;
  }
  *value = PlyTypes[type].decode(first);
  return true;
}

/** Reads the length of a list; -1 for one that no integer holds. */
bool PlyFileReader::read_list_count(const PlyProperty& property, std::int64_t* count)
{
  double value = 0;
  if (!read_value(property.list_count_type, &value)) return false;
  *count = std::fabs(value) <= UINT32_MAX ? static_cast<std::int64_t>(value) : -1;
  return true;
}

/** Passes a property of a binary row. It is read, not sought, so that the end of the file shows. */
bool PlyFileReader::skip_property(const PlyProperty& property)
{
  std::int64_t count = 1;
  if (property.is_list() && !read_list_count(property, &count)) return false;
  char passed[1024];
  for (std::int64_t left = count * property.value_size; left > 0;) {
    const auto size = static_cast<std::size_t>(std::min<std::int64_t>(left, sizeof passed));
    if (std::fread(passed, 1, size, file) != size) return false;
    left -= static_cast<std::int64_t>(size);
  }
  return count >= 0;
}

/** Passes a property of a text row: a token, of a list as many more as it says. */
bool PlyFileReader::skip_tokens(const PlyProperty& property, std::size_t* token) const
{
  if (*token >= tokens.size()) return false;
  const std::int64_t more = property.is_list() ? IntegerOf(tokens[*token]) : 0;
  const auto left = static_cast<std::int64_t>(tokens.size() - *token - 1);
  if (more < 0 || more > left) return false;
  *token += 1 + static_cast<std::size_t>(more);
  return true;
}
