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
  header = {};
  vertex_cache.clear();
  without_normals = true;
  vertex_position_known = face_position_known = false;
  file = OpenRegularFile(file_name);
  if (!file) return fail("Can not open file!\n");
  file_size = MeasureFile(file);
  if (!ParsePlyHeader()) return false;
  if (header.Format == PlyUnknownFormat) return fail("Unknown file format!\n");
  return header.Format == PlyAscii || seek_binary_data(file_name);
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
    if (EqualWords(tokens[0], "end_header")) return true;
    header.TakeLine(tokens);
  }
  return fail("End of header not found!\n");
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
  if (header.VertexCount > file_size) return fail(VertexReadError);
  if (header.FaceCount > file_size) return fail(FaceReadError);
  // A number has a byte at least. Those of unknown type have none; a header full of them must not
  // keep us busy for longer than the file is.
  constexpr std::int64_t most = 16;
  for (const PlyElement& element : header.Elements) {
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
  if (header.Elements.empty() || header.Elements[0].kind != PlyVertexElement ||
      header.Elements[0].count != header.VertexCount)
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

  const PlyElement& element = header.Elements[0];
  if (!element.has(PlyX) || !element.has(PlyY) || !element.has(PlyZ))
    return fail("No coordinates information!\n");
  without_normals =
      !element.has(PlyNormalX) || !element.has(PlyNormalY) || !element.has(PlyNormalZ);
  if (!read_vertex_rows(vertices)) return false;
  for (std::int32_t i = 0; !without_normals && i < header.VertexCount; ++i)
    UnitVector(vertices + std::ptrdiff_t{6} * i + 3);
  return true;
}

bool PlyFileReader::read_vertex_rows(float* vertices)
{
  const std::vector<PlyProperty>& properties = header.Elements[0].properties;
  const bool sixFloats = header.Format != PlyAscii && BeginsWithSixFloats(properties);
  if (sixFloats && properties.size() == 6)
    return read_floats(vertices, static_cast<std::size_t>(header.VertexCount) * 6);
  for (std::int32_t i = 0; i < header.VertexCount; ++i, vertices += 6) {
    bool complete;
    if (header.Format == PlyAscii)
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
  for (std::size_t i = 0; header.Format == PlyBigEndian && i < count; ++i) {
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
  const std::vector<PlyProperty>& properties = header.Elements[0].properties;
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
  const std::vector<PlyProperty>& properties = header.Elements[0].properties;
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
  const std::vector<PlyProperty>& properties = header.Elements[0].properties;
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
  if (header.Elements.size() < 2 || header.Elements[1].kind != PlyFaceElement ||
      header.Elements[1].count != header.FaceCount || !header.Elements[1].has(PlyVertexIndices))
    return fail("Face data error!\n");
  if (!faces || !seek_faces()) return false;
  for (std::int32_t i = 0; i < header.FaceCount; ++i, faces += 3) {
    if (!(header.Format == PlyAscii ? read_ascii_face(i, faces) : read_binary_face(i, faces)))
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
      if (check_counts())
        vertices.resize(static_cast<std::size_t>(std::max(header.VertexCount, 0)) * 6);
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
  for (const PlyProperty& property : header.Elements[1].properties) {
    // What follows the corners is not looked at.
    if (property.kind == PlyVertexIndices) return read_ascii_corners(row, token, face);
    if (!skip_tokens(property, &token)) return fail(FaceReadError);
  }
  return true;
}

/** The list whose length is the token of that number. */
bool PlyFileReader::read_ascii_corners(std::int32_t row, std::size_t token, std::uint32_t* face)
{
  if (token >= tokens.size()) return fail(FaceReadError);
  const std::int64_t corners = IntegerOf(tokens[token]);
  if (corners != 3) return fail_polygon(row, corners);
  if (token + 3 >= tokens.size()) return fail(FaceReadError);
  for (std::size_t i = 0; i < 3; ++i)
    if (!store_index(static_cast<double>(IntegerOf(tokens[token + 1 + i])), face + i)) return false;
  return true;
}

bool PlyFileReader::read_binary_face(std::int32_t row, std::uint32_t* face)
{
  for (const PlyProperty& property : header.Elements[1].properties) {
    if (property.kind == PlyVertexIndices) {
      if (!read_binary_corners(row, property, face)) return false;
    } else if (!skip_property(property)) {
      return fail(FaceReadError);
    }
  }
  return true;
}

bool PlyFileReader::read_binary_corners(std::int32_t row, const PlyProperty& property,
                                        std::uint32_t* face)
{
  std::int64_t corners = 0;
  if (!read_list_count(property, &corners)) return fail(FaceReadError);
  if (corners != 3) return fail_polygon(row, corners);
  for (int i = 0; i < 3; ++i) {
    double index = 0;
    if (!read_value(property.value_type, &index)) return fail(FaceReadError);
    if (!store_index(index, face + i)) return false;
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
  if (!(value > -1.0 && value < header.VertexCount)) return fail(FaceReadError);
  *index = static_cast<std::uint32_t>(std::max(value, 0.0));
  return true;
}

/** Reads a number of the given type; false at the end of the file or for an unknown type. */
bool PlyFileReader::read_value(int type, double* value)
{
  unsigned char bytes[8] = {};
  const auto size = static_cast<std::size_t>(PlySizeOf(type));
  if (size == 0 || std::fread(bytes, 1, size, file) != size) return false;
  const unsigned char* first = bytes;
  if (header.Format == PlyBigEndian) {
    std::reverse(std::begin(bytes), std::end(bytes));
    first = std::end(bytes) - size;
  }
  *value = DecodePlyNumber(type, first);
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
