#include "trelCheckText.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "trelModelCheck.h"
#include "trelPaths.h"
#include "trelText.h"

/** A line of a file is shown up to this length. */
static constexpr std::size_t longestLine = 200;

/** Tissues, grids and the like beyond these are counted only. */
static constexpr std::size_t mostShown = 100;

static char GetShownCharacter(int c)
{
  if (c == '\t') return ' ';
  return c >= ' ' && c <= '~' ? static_cast<char>(c) : '?';
}

/** The next line of the file, as it is shown; false at its end. */
static bool ReadShownLine(std::FILE* file, std::string& line)
{
  line.clear();
  int c = 0;
  while ((c = std::fgetc(file)) != EOF && c != '\n')
    if (line.size() < longestLine && c != '\r') line.push_back(GetShownCharacter(c));
  return c != EOF || !line.empty();
}

/** The lines that the findings are about, without control characters. */
static std::map<int, std::string> ReadLinesOf(const trelModelFindings& findings,
                                              const std::string& name)
{
  std::map<int, std::string> lines;
  int last = 0;
  for (const trelFinding& finding : findings.GetAll()) {
    lines[finding.Line];
    last = std::max(last, finding.Line);
  }
  std::FILE* file = OpenRegularFile(NativePath(name));
  if (!file) return lines;
  std::string line;
  for (int number = 1; number <= last && ReadShownLine(file, line); ++number) {
    const auto found = lines.find(number);
    if (found != lines.end()) found->second = line;
  }
  std::fclose(file);
  return lines;
}

/** A caret under the word, from 0, of a line; empty if it has no such word. */
static std::string MarkWord(const std::string& line, int word)
{
  std::vector<std::string_view> words;
  SplitTokens(line, words);
  if (words.empty()) return "";
  const std::string_view marked =
      words[std::min(static_cast<std::size_t>(std::max(word, 0)), words.size() - 1)];
  const auto column = static_cast<std::size_t>(marked.data() - line.data());
  return std::string(column, ' ') + '^' + std::string(marked.size() - 1, '~');
}

std::string FormatFindings(const trelModelFindings& findings, const std::string& name)
{
  const std::map<int, std::string> lines = ReadLinesOf(findings, name);
  std::ostringstream out;
  for (const trelFinding& finding : findings.GetAll()) {
    out << name;
    if (finding.Line > 0) out << ':' << finding.Line;
    out << (finding.Kind == FindingError ? ": error: " : ": warning: ") << finding.Text << '\n';
    const std::string number = finding.Line > 0 ? std::to_string(finding.Line) : "";
    const std::string margin(std::max<std::size_t>(number.size(), 5), ' ');
    const std::string& line = lines.at(finding.Line);
    if (finding.Line > 0 && !line.empty()) {
      out << std::string(margin.size() - number.size(), ' ') << number << " | " << line << '\n'
          << margin << " | " << MarkWord(line, finding.Word) << '\n';
    }
    if (!finding.Remedy.empty()) out << margin << " = " << finding.Remedy << '\n';
  }
  const std::size_t all = findings.CountErrors() + findings.CountWarnings();
  if (all > findings.GetAll().size())
    out << name << ": and " << all - findings.GetAll().size() << " more\n";
  return out.str();
}

static std::string ShowBox(const trelBox& box, int dimension)
{
  std::ostringstream out;
  for (int axis = 0; axis < dimension; ++axis)
    out << (axis > 0 ? " x " : "") << '[' << box.Low[axis] << ", " << box.High[axis] << ']';
  out << " mm";
  return out.str();
}

static std::string ShowShape(const trelCheckedShape& shape, int dimension)
{
  if (shape.Kind.empty()) return "no shape";
  std::ostringstream out;
  out << shape.Kind << ' ' << ShowBox(shape.Box, dimension) << ", " << shape.Measure
      << (dimension == 2 ? " mm^2" : " mm^3");
  return out.str();
}

static std::string ShowNumbers(const char* words, const std::vector<int>& numbers)
{
  if (numbers.empty()) return "";
  std::ostringstream out;
  out << "  " << words;
  for (std::size_t i = 0; i < numbers.size() && i < mostShown; ++i)
    out << (i > 0 ? ", " : " ") << numbers[i];
  out << (numbers.size() > mostShown ? ", ...\n" : "\n");
  return out.str();
}

static void ShowTissue(std::ostream& out, const trelCheckedTissue& tissue, int dimension)
{
  out << "tissue " << tissue.Number << ' ' << QuoteWord(tissue.Name)
      << (tissue.IsOutermost ? ", the outermost: " : ": ") << ShowShape(tissue.Shape, dimension)
      << '\n';
  for (const trelCheckedOptics& optics : tissue.Optics) {
    out << "  at " << optics.Wavelength << ": mua " << optics.Absorption << ", mus "
        << optics.Scattering << " /mm, g " << optics.Anisotropy << ", n " << optics.RefractiveIndex
        << ", mean free path ";
    if (std::isfinite(optics.FreePath)) {
      out << optics.FreePath << " mm\n";
    } else {
      out << "none (clear)\n";
    }
  }
  out << ShowNumbers("lies in tissue", tissue.LiesIn)
      << ShowNumbers("touches tissue", tissue.Touches);
}

static std::string ShowVector(const trelVector& v)
{
  std::ostringstream out;
  out << '(' << v.X << ", " << v.Y << ", " << v.Z << ')';
  return out.str();
}

static std::string ShowDirections(const trelCheckedSource& source, int dimension)
{
  std::ostringstream out;
  out << "  azimuth " << source.Azimuth[0] << " to " << source.Azimuth[1];
  if (dimension == 3) {
    out << ", deflection " << source.Deflection[0] << " to " << source.Deflection[1]
        << " degrees about " << ShowVector(source.Direction);
  } else {
    out << " degrees";
  }
  if (source.ProfileWidth > 0.0) out << ", gaussian profile " << source.ProfileWidth << " mm";
  out << '\n';
  return out.str();
}

static void ShowSource(std::ostream& out, const trelCheckedSource& source, int dimension)
{
  out << "light source " << source.Number << ": " << source.Kind << ", "
      << (source.IsInternal ? "internal" : "external") << (source.IsSolid ? ", solid" : ", face")
      << (source.IsSpecular ? ", specular" : "") << ": " << ShowShape(source.Shape, dimension)
      << '\n';
  if (source.Kind != "emission") out << ShowDirections(source, dimension);
  for (const trelCheckedDye& dye : source.Dyes) {
    out << "  at " << dye.Wavelength << ": from " << dye.Excitation << ", absorption "
        << dye.Absorption << " /mm, yield " << dye.Yield << ", lifetime " << dye.LifeTime
        << " ps\n";
  }
  for (const trelCheckedEntry& entry : source.Entries) {
    if (entry.Packets > 0 || entry.Energy > 0.0)
      out << "  at " << entry.Wavelength << ": energy " << entry.Energy << " in " << entry.Packets
          << " packets\n";
  }
  if (source.Tried == 0) return;
  const double percent = 100.0 / source.Tried;
  out << "  " << percent * (source.Met - source.Reflected) << " % of " << source.Tried
      << " pilot packets start in the medium\n";
  if (source.Reflected > 0)
    out << "  " << percent * source.Reflected << " % are reflected at entry\n";
}

static void ShowDetector(std::ostream& out, const trelCheckedDetector& detector)
{
  out << "detector " << detector.Number << ": ";
  if (detector.Kind == "fiber") {
    out << "fibre: " << ShowShape(detector.Shape, 3) << '\n';
    return;
  }
  out << "camera at " << ShowVector(detector.Center) << " mm, normal "
      << ShowVector(detector.Normal) << ", " << detector.Width << " x " << detector.Height
      << " mm, " << detector.Columns << " x " << detector.Rows << " pixels\n  focal length "
      << detector.FocalLength << " mm, image distance " << detector.ImageDistance
      << " mm, vertical plane " << detector.Plane << '\n';
}

/** 12.3 MB. */
static std::string ShowBytes(double bytes)
{
  static const char* const units[] = {" bytes", " kB", " MB", " GB", " TB"};
  std::size_t unit = 0;
  for (; bytes >= 1000.0 && unit + 1 < std::size(units); ++unit)
    bytes /= 1000.0;
  std::ostringstream out;
  out.precision(3);
  out << bytes << units[unit];
  return out.str();
}

static void ShowGrid(std::ostream& out, const trelCheckedGrid& grid)
{
  out << "grid " << grid.Name << ' ' << grid.Domain << ':';
  for (const auto& [axis, count] : grid.Axes)
    out << ' ' << axis << ' ' << count;
  out << ", " << grid.Cells << " cells, " << ShowBytes(grid.Bytes) << '\n';
}

static void ShowMesh(std::ostream& out, const trelMeshCheck& mesh)
{
  out << "mesh of " << mesh.Owner << ", " << mesh.File << ": " << mesh.Vertices << " vertices, "
      << mesh.Triangles << " triangles";
  if (mesh.Elements > 0)
    out << ", " << mesh.Elements << " tetrahedra in " << mesh.Regions << " regions";
  out << "\n  " << ShowBox(mesh.Box, 3) << ", " << mesh.Volume << " mm^3, bodies " << mesh.Bodies
      << "\n  open edges " << mesh.OpenEdges << ", edges of more than two triangles "
      << mesh.NonManifoldEdges << ", inverted " << mesh.Inverted << ", needles " << mesh.Needles
      << '\n';
}

/** Each of the items by @p show, the first of many. */
template <class Item, class Show>
static void ShowAll(std::ostream& out, const std::vector<Item>& items, Show show)
{
  for (std::size_t i = 0; i < items.size() && i < mostShown; ++i)
    show(items[i]);
  if (items.size() > mostShown) out << "... (" << items.size() << " in all)\n";
}

/** That there are too many pairs, if so. */
static void ShowPairs(std::ostream& out, const char* what, std::int64_t pairs)
{
  if (pairs >= 0) {
    out << what << " looked at for the first " << pairs
        << " pairs of tissues whose boxes meet: there are too many\n";
  }
}

static void ShowSeconds(std::ostream& out, double seconds)
{
  out << "expected time: ";
  if (seconds < 120.0) {
    out << seconds << " s";
  } else if (seconds < 7200.0) {
    out << seconds / 60.0 << " min";
  } else {
    out << seconds / 3600.0 << " h";
  }
}

std::string FormatCheckText(const trelModelCheck& check)
{
  std::ostringstream out;
  out.precision(4);
  out << check.Model << ": " << check.Mode << " in " << check.Dimension << " dimensions, "
      << check.Packets << " packets, index around it " << check.AmbientRefractiveIndex << '\n';
  ShowAll(out, check.Tissues,
          [&](const trelCheckedTissue& tissue) { ShowTissue(out, tissue, check.Dimension); });
  ShowAll(out, check.Overlaps, [&](const trelCheckedOverlap& overlap) {
    out << "tissues " << overlap.First << " and " << overlap.Second << " overlap in part: tissue "
        << overlap.Winner << " has what they share\n";
  });
  ShowPairs(out, "overlaps", check.OverlapPairs);
  ShowPairs(out, "what touches and lies in what", check.RelationPairs);
  ShowAll(out, check.Sources,
          [&](const trelCheckedSource& source) { ShowSource(out, source, check.Dimension); });
  ShowAll(out, check.Detectors,
          [&](const trelCheckedDetector& detector) { ShowDetector(out, detector); });
  ShowAll(out, check.Grids, [&](const trelCheckedGrid& grid) { ShowGrid(out, grid); });
  ShowAll(out, check.Meshes, [&](const trelMeshCheck& mesh) { ShowMesh(out, mesh); });
  if (check.ExpectedSeconds >= 0.0) {
    out.precision(2);
    ShowSeconds(out, check.ExpectedSeconds);
    out << " on " << check.Threads << (check.Threads == 1 ? " thread\n" : " threads\n");
  }
  out << check.GetFindings().CountErrors() << " errors, " << check.GetFindings().CountWarnings()
      << " warnings\n";
  return out.str();
}
