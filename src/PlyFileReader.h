#ifndef PlyFileReader_h
#define PlyFileReader_h

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "trelPlyHeader.h"

/**
 * @class   PlyFileReader
 * @brief   a PLY file: its header, its vertices (the first element) and its triangles (the second)
 *
 * All operations return false and append to error_text() when something is wrong. Words of the
 * header are compared without regard to letter case. Further elements are not visited. Numbers of
 * rows and columns in messages count from 0.
 */
class PlyFileReader
{
public:
  PlyFileReader() = default;
  ~PlyFileReader();
  PlyFileReader(const PlyFileReader&) = delete;
  PlyFileReader& operator=(const PlyFileReader&) = delete;

  /** Opens the file, reads the header and stands at the start of the data. */
  bool OpenPlyFile(const char* file_name);
  void close();

  /** False if the file is too short for the vertices and faces that it announces. To be asked
   * before memory is allocated for them. */
  bool check_counts();
  /** Fills six floats a vertex: x y z, and the unit normal if the file has one; else the last three
   * stay. */
  bool read_vert_data(float* vertices);
  /** Fills three vertex indices a face, from 0. Reads the vertices before, if nobody has, and keeps
   * them for read_vert_data(). */
  bool read_face_data(std::uint32_t* faces);

  /** What the header announces, known once the file is open; may be negative. */
  std::int32_t number_of_vertices() const { return header.VertexCount; }
  std::int32_t number_of_faces() const { return header.FaceCount; }
  /** True unless the vertices have nx, ny and nz; known when they have been read. */
  bool no_normals() const { return without_normals; }
  const std::string& error_text() const { return error; }

private:
  bool fail(const char* text);
  bool read_line();
  bool ParsePlyHeader();
  bool seek_binary_data(const char* file_name);
  bool find_data_start(long* start);

  bool read_vertex_rows(float* vertices);
  bool read_ascii_vertex(float* vertex);
  bool read_binary_vertex(std::int32_t row, float* vertex);
  bool read_floats(float* values, std::size_t count);
  bool read_floats_and_more(float* vertex);
  void keep_number(const PlyProperty& property, float number, float* vertex) const;

  bool seek_faces();
  bool read_ascii_face(std::int32_t row, std::uint32_t* face);
  bool read_ascii_corners(std::int32_t row, std::size_t token, std::uint32_t* face);
  bool read_binary_face(std::int32_t row, std::uint32_t* face);
  bool read_binary_corners(std::int32_t row, const PlyProperty& property, std::uint32_t* face);
  bool fail_polygon(std::int32_t row, std::int64_t corners);
  bool store_index(double value, std::uint32_t* index);

  bool read_value(int type, double* value);
  bool read_list_count(const PlyProperty& property, std::int64_t* count);
  bool skip_property(const PlyProperty& property);
  bool skip_tokens(const PlyProperty& property, std::size_t* token) const;

  std::string error;
  std::FILE* file = nullptr;
  std::int64_t file_size = 0;
  char line_buffer[4096] = {};
  std::vector<std::string_view> tokens;
  std::vector<float> vertex_cache;
  long vertex_position = 0;
  long face_position = 0;
  bool without_normals = true;
  bool vertex_position_known = false;
  bool face_position_known = false;
  trelPlyHeader header;
};

#endif
