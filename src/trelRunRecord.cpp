#include "trelRunRecord.h"

#include <sha2.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <set>

#include "trelClock.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelNetcdfFile.h"
#include "trelPaths.h"
#include "trelSimulationParameter.h"
#include "trelTissue.h"

/** Gives @p use each piece of a regular file; false if it cannot be read to its end. */
template <class Use>
static bool ReadPieces(const std::string& path, const Use& use)
{
  std::FILE* file = OpenRegularFile(NativePath(path), "rb");
  if (!file) return false;
  std::array<char, 1 << 16> piece;
  std::size_t size = 0;
  while ((size = std::fread(piece.data(), 1, piece.size(), file)) > 0)
    use(piece.data(), size);
  const bool isRead = !std::ferror(file);
  std::fclose(file);
  return isRead;
}

std::string ComputeHash(const std::string& text)
{
  char digest[SHA256_DIGEST_STRING_LENGTH] = "";
  SHA256Data(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), digest);
  return digest;
}

std::string ComputeFileHash(const std::string& path)
{
  SHA2_CTX context;
  SHA256Init(&context);
  const bool isRead = ReadPieces(path, [&](const char* piece, std::size_t size) {
    SHA256Update(&context, reinterpret_cast<const std::uint8_t*>(piece), size);
  });
  char digest[SHA256_DIGEST_STRING_LENGTH] = "";
  SHA256End(&context, digest);
  return isRead ? digest : "";
}

/** The files of all meshes of the model, each once. */
static std::set<std::string> FindMeshFiles(const trelSimulationParameter& parameter)
{
  std::set<std::string> files;
  const auto take = [&](const trelShapeObject* shape) {
    const auto* mesh = dynamic_cast<const trelTraceableMesh*>(shape);
    if (mesh && !mesh->GetFilePath().empty()) files.insert(mesh->GetFilePath());
  };
  take(parameter.GetOuterShape());
  for (int i = 0; i < parameter.GetNumberOfTissues(); ++i)
    take(parameter.GetTissue(i)->GetShape());
  for (int i = 0; i < parameter.GetNumberOfLightSources(); ++i)
    take(parameter.GetLightSource(i)->GetShape());
  return files;
}

void trelRunRecord::AddModel(const std::string& model, const trelSimulationParameter& parameter)
{
  std::string text;
  ReadPieces(model, [&](const char* piece, std::size_t size) { text.append(piece, size); });
  Add("model_file", model);
  Add("model", text);
  Add("model_sha256", ComputeHash(text));
  std::string names, hashes;
  for (const std::string& file : FindMeshFiles(parameter)) {
    const char* between = names.empty() ? "" : "\n";
    names += between + file;
    hashes += between + ComputeFileHash(file);
  }
  if (names.empty()) return;
  Add("mesh_files", names);
  Add("mesh_sha256", hashes);
}

void trelRunRecord::WriteTo(trelNetcdfFile& file) const
{
  for (const auto& [name, text] : Texts)
    file.SetText("", name.c_str(), text);
  for (const auto& [name, value] : Reals)
    file.SetReal("", name.c_str(), value);
  for (const auto& [name, count] : Counts)
    file.SetCount("", name.c_str(), count);
}

/** As Linux knows it; empty elsewhere. */
static std::string FindProcessor()
{
  std::ifstream file("/proc/cpuinfo");
  std::string line;
  while (std::getline(file, line)) {
    const std::size_t colon = line.find(": ");
    if (line.rfind("model name", 0) == 0 && colon != std::string::npos)
      return line.substr(colon + 2);
  }
  return "";
}

void trelRunRecord::AddMachine()
{
#ifdef __clang__
  Add("compiler", std::string(__VERSION__));
#else
  Add("compiler", std::string("GCC ") + __VERSION__);
#endif
  const auto seconds = static_cast<std::time_t>(WallClockSeconds());
  std::tm utc = {};
  char date[32] = "";
  if (gmtime_r(&seconds, &utc)) std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%SZ", &utc);
  Add("date", std::string(date));
  Add("processor", FindProcessor());
}
