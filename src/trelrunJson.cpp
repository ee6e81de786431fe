#include "trelrunJson.h"

#include <nlohmann/json.hpp>

#include "trelModelCheck.h"

using Json = nlohmann::ordered_json;

static Json ToJson(const trelVector& v)
{
  return {v.X, v.Y, v.Z};
}

static Json ToJson(const trelCheckedShape& shape)
{
  if (shape.Kind.empty()) return nullptr;
  return {{"kind", shape.Kind},
          {"low", ToJson(shape.Box.Low)},
          {"high", ToJson(shape.Box.High)},
          {"measure", shape.Measure}};
}

static Json ToJson(const trelCheckedOptics& optics)
{
  // Of clear tissue it is infinite, which JSON has no number for: null.
  return {{"wavelength", optics.Wavelength}, {"mua", optics.Absorption},
          {"mus", optics.Scattering},        {"g", optics.Anisotropy},
          {"n", optics.RefractiveIndex},     {"freePath", optics.FreePath}};
}

static Json ToJson(const trelCheckedEntry& entry)
{
  return {{"wavelength", entry.Wavelength}, {"packets", entry.Packets}, {"energy", entry.Energy}};
}

template <class Item>
static Json ToJson(const std::vector<Item>& items)
{
  Json list = Json::array();
  for (const Item& item : items)
    list.push_back(ToJson(item));
  return list;
}

static Json ToJson(const trelCheckedTissue& tissue)
{
  return {{"number", tissue.Number},          {"name", tissue.Name},
          {"outermost", tissue.IsOutermost},  {"shape", ToJson(tissue.Shape)},
          {"spectra", ToJson(tissue.Optics)}, {"liesIn", tissue.LiesIn},
          {"touches", tissue.Touches}};
}

static Json ToJson(const trelCheckedOverlap& overlap)
{
  return {{"first", overlap.First}, {"second", overlap.Second}, {"winner", overlap.Winner}};
}

static Json ToJson(const trelCheckedDye& dye)
{
  return {{"wavelength", dye.Wavelength},
          {"excitation", dye.Excitation},
          {"yield", dye.Yield},
          {"absorption", dye.Absorption},
          {"lifetime", dye.LifeTime}};
}

static Json ToJson(const trelCheckedSource& source)
{
  Json json = {{"number", source.Number},          {"kind", source.Kind},
               {"internal", source.IsInternal},    {"solid", source.IsSolid},
               {"specular", source.IsSpecular},    {"shape", ToJson(source.Shape)},
               {"spectra", ToJson(source.Entries)}};
  json["dyes"] = ToJson(source.Dyes);
  json["direction"] = ToJson(source.Direction);
  json["azimuth"] = source.Azimuth;
  json["deflection"] = source.Deflection;
  json["gaussian"] = source.ProfileWidth > 0.0 ? Json(source.ProfileWidth) : Json(nullptr);
  const auto share = [&](int packets) {
    return source.Tried > 0 ? Json(double(packets) / source.Tried) : Json(nullptr);
  };
  json["share"] = share(source.Met);
  json["reflected"] = share(source.Reflected);
  return json;
}

static Json ToJson(const trelCheckedDetector& detector)
{
  Json json = {{"number", detector.Number}, {"kind", detector.Kind}};
  if (detector.Kind == "fiber") {
    json["shape"] = ToJson(detector.Shape);
    return json;
  }
  json["center"] = ToJson(detector.Center);
  json["normal"] = ToJson(detector.Normal);
  json["size"] = {detector.Width, detector.Height};
  json["pixels"] = {detector.Columns, detector.Rows};
  json["focalLength"] = detector.FocalLength;
  json["imageDistance"] = detector.ImageDistance;
  json["verticalPlane"] = detector.Plane;
  return json;
}

static Json ToJson(const trelCheckedGrid& grid)
{
  Json axes = Json::object();
  for (const auto& [axis, count] : grid.Axes)
    axes[axis] = count;
  return {{"name", grid.Name},
          {"domain", grid.Domain},
          {"axes", axes},
          {"cells", grid.Cells},
          {"bytes", grid.Bytes}};
}

/** null for what is not there: a word that is empty, a number below 0. */
static Json ToJsonIfAny(const std::string& word)
{
  return word.empty() ? Json(nullptr) : Json(word);
}

template <class Number>
static Json ToJsonIfAny(Number number)
{
  return number < 0 ? Json(nullptr) : Json(number);
}

static void AddScoring(const trelCheckedScoring& scoring, Json& json)
{
  Json time = nullptr, roi = Json::object(), widths = Json::object();
  if (!scoring.Time.Name.empty()) {
    time = {{"start", scoring.Time.Low},
            {"end", scoring.Time.High},
            {"step", scoring.Time.Step},
            {"gates", scoring.Gates}};
  }
  for (const trelCheckedRange& range : scoring.Region) {
    roi[range.Name] = {range.Low, range.High};
    widths[range.Name] = range.Step;
  }
  json["domains"] = {{"cw", scoring.IsCW}, {"td", time}, {"fd", ToJsonIfAny(scoring.Frequency)}};
  json["absorptionmatrix"] = ToJsonIfAny(scoring.Absorption);
  json["transmittancematrix"] = ToJsonIfAny(scoring.Transmittance);
  json["fluencerate"] = scoring.HasFluence;
  json["photonflytime"] = scoring.HasFlyTimes;
  json["roi"] = roi;
  json["roiseparation"] = widths;
  json["flytimemax"] = ToJsonIfAny(scoring.TimeLimit);
  json["stepnummax"] = ToJsonIfAny(scoring.StepLimit);
}

static Json ToJson(const trelMeshCheck& mesh)
{
  return {{"owner", mesh.Owner},         {"file", mesh.File},
          {"vertices", mesh.Vertices},   {"triangles", mesh.Triangles},
          {"elements", mesh.Elements},   {"regions", mesh.Regions},
          {"bodies", mesh.Bodies},       {"volume", mesh.Volume},
          {"low", ToJson(mesh.Box.Low)}, {"high", ToJson(mesh.Box.High)},
          {"openEdges", mesh.OpenEdges}, {"nonManifoldEdges", mesh.NonManifoldEdges},
          {"inverted", mesh.Inverted},   {"needles", mesh.Needles}};
}

/** The tissues as a list of lists: of the points along the second axis for each along the first. */
static Json ToJson(const trelTissueCut& cut)
{
  static const char* const names[] = {"x", "y", "z"};
  Json rows = Json::array();
  for (auto row = cut.Tissues.begin(); row != cut.Tissues.end(); row += cut.Counts[1])
    rows.push_back(Json(std::vector<std::int32_t>(row, row + cut.Counts[1])));
  return {{"axis", names[cut.Plane.Axis]},
          {"value", cut.Plane.Value},
          {"axes", {names[cut.Axes[0]], names[cut.Axes[1]]}},
          {"low", cut.Low},
          {"high", cut.High},
          {"counts", cut.Counts},
          {"tissues", rows}};
}

static Json ToJson(const trelFinding& finding)
{
  Json json = {{"severity", finding.Kind == FindingError ? "error" : "warning"}};
  json["line"] = finding.Line > 0 ? Json(finding.Line) : Json(nullptr);
  json["word"] = finding.Line > 0 ? Json(finding.Word + 1) : Json(nullptr);
  json["text"] = finding.Text;
  json["remedy"] = finding.Remedy;
  return json;
}

std::string FormatCheckJson(const trelModelCheck& check)
{
  Json json = {{"program", check.Program},
               {"rules", check.Rules},
               {"model", check.Model},
               {"findings", ToJson(check.GetFindings().GetAll())},
               {"errors", check.GetFindings().CountErrors()},
               {"warnings", check.GetFindings().CountWarnings()}};
  if (!check.Mode.empty()) {
    json["simulationType"] = check.Mode;
    json["dimension"] = check.Dimension;
    json["ambientRefractiveIndex"] = check.AmbientRefractiveIndex;
    json["threads"] = check.Threads;
    json["packets"] = check.Packets;
    json["tissues"] = ToJson(check.Tissues);
    json["overlaps"] = ToJson(check.Overlaps);
    json["overlapPairs"] = check.OverlapPairs >= 0 ? Json(check.OverlapPairs) : Json(nullptr);
    json["relationPairs"] = check.RelationPairs >= 0 ? Json(check.RelationPairs) : Json(nullptr);
    json["sources"] = ToJson(check.Sources);
    json["detectors"] = ToJson(check.Detectors);
    AddScoring(check.Scoring, json);
    json["grids"] = ToJson(check.Grids);
    json["meshes"] = ToJson(check.Meshes);
    json["expectedSeconds"] =
        check.ExpectedSeconds >= 0.0 ? Json(check.ExpectedSeconds) : Json(nullptr);
    if (check.WantedCut) json["cut"] = check.Cut ? ToJson(*check.Cut) : Json(nullptr);
  }
  // A cut has so many numbers that a line for each would be most of the text.
  const int indent = check.WantedCut ? -1 : 2;
  // Names may hold any bytes.
  return json.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}
