#include "trelRunRecord.h"

#include <sha2.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <set>
#include <sstream>

#include "trelClock.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelNetcdfFile.h"
#include "trelOpticalParameter.h"
#include "trelPaths.h"
#include "trelResultLabels.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelText.h"
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

std::string trelRunRecord::GetText(const std::string& name) const
{
  for (const auto& [key, text] : Texts)
    if (key == name) return text;
  return "";
}

void trelRunRecord::Write(trelNetcdfFile& file) const
{
  for (const auto& [name, text] : Texts)
    file.SetText("", name.c_str(), text);
  for (const auto& [name, value] : Reals)
    file.SetReal("", name.c_str(), value);
  for (const auto& [name, count] : Counts)
    file.SetCount("", name.c_str(), count);
}

/** A model without what may differ between runs that are one: the numbers of packets and of
 *  threads, comments and blanks. */
static std::string TakeOutPackets(const std::string& model)
{
  std::istringstream lines(model);
  std::string line, kept;
  while (std::getline(lines, line)) {
    std::istringstream text(line);
    std::vector<std::string> words;
    for (std::string word; text >> word;)
      words.push_back(word);
    if (words.empty() || words[0][0] == '#' || EqualWords(words[0], "threadnum")) continue;
    if (EqualWords(words[0], "lightsourcespectrumindex") && words.size() > 3) words[3] = "packets";
    for (const std::string& word : words)
      kept += word + ' ';
    kept += '\n';
  }
  return kept;
}

/** All coefficients, those of dyes too, to the last digit. */
static std::string ListCoefficients(const trelSimulationParameter& parameter)
{
  std::string text;
  for (int i = 0; i < parameter.GetNumberOfTissues(); ++i) {
    for (int j = 0; const auto* optics = parameter.GetTissue(i)->GetOpticalParameter(j); ++j) {
      char line[160];
      std::snprintf(line, sizeof line, "%d %d %a %a %a %a\n", i, j, optics->GetAbsorption(),
                    optics->GetScattering(), optics->GetAnisotropy(), optics->GetRefractiveIndex());
      text += line;
    }
  }
  for (int i = 0; i < parameter.GetNumberOfLightSources(); ++i) {
    for (const trelSpectrum* dye :
         ItemsOf<trelSpectrum>(parameter.GetLightSource(i)->GetSpectra())) {
      char line[160];
      std::snprintf(line, sizeof line, "%d %u %u %a %a %a\n", i, dye->GetWavelength(),
                    dye->GetExcitationWavelength(), dye->GetFluorophoreAbsorption(),
                    dye->GetQuantumYield(), dye->GetLifeTime());
      text += line;
    }
  }
  return text;
}

void trelRunRecord::AddModel(const std::string& model, const std::string& name,
                             const trelSimulationParameter& parameter)
{
  std::string text;
  ReadPieces(model, [&](const char* piece, std::size_t size) { text.append(piece, size); });
  Add("model_file", name);
  Add("model", text);
  Add("model_sha256", ComputeHash(text));
  Add("model_without_packets_sha256", ComputeHash(TakeOutPackets(text)));
  Add("coefficients_sha256", ComputeHash(ListCoefficients(parameter)));
  Add("rules", std::string(GetRulesName(parameter.GetRules())));
  if (parameter.GetScoresElements()) Add("elements", "yes");
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
