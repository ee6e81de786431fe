#include "trelRunMerge.h"

#include <cstdio>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <system_error>

#include "trelPaths.h"
#include "trelRunRecord.h"

namespace fs = std::filesystem;

trelRunMerge::trelRunMerge(const trelRunOptions& options, std::ostream& log, std::ostream& messages)
    : Options(options), Log(log), Messages(messages)
{
}

trelRunMerge::~trelRunMerge()
{
  if (Model.Path.empty()) return;
  std::error_code error;
  fs::remove(Model.Path, error);
  UnlistTemporaryFile(Model);
}

static std::string WithoutEnding(const std::string& name)
{
  const fs::path path(name);
  return path.extension() == ".nc" ? name.substr(0, name.size() - 3) : name;
}

int trelRunMerge::Run(const std::string& base, const std::vector<std::string>& parts)
{
  std::vector<std::string> names;
  names.reserve(parts.size());
  for (const std::string& part : parts)
    names.push_back(WithoutEnding(part) + ".nc");
  const std::string fault = Parts.OpenParts(names);
  if (!fault.empty()) {
    Messages << Options.Program << ": error: the results cannot be put together: " << fault
             << std::endl;
    return RunNotWritten;
  }
  if (!FindModel() || !TakeChanges()) {
    Messages << Options.Program << ": error: the model of " << Parts.GetName()
             << " cannot be read or written beside it" << std::endl;
    return RunNotWritten;
  }
  Options.Base = WithoutEnding(base);
  Options.Parts = &Parts;
  Options.SavesElements = !Parts.GetText("elements").empty();
  return trelRunDriver(Options, Log, Messages).Run();
}

/** The model that the first part names, if it is still the same, else the one that is in it. */
bool trelRunMerge::FindModel()
{
  Options.ModelName = Options.Model = Parts.GetText("model_file");
  if (!Options.Model.empty() && ComputeFileHash(Options.Model) == Parts.GetText("model_sha256"))
    return true;
  const std::string text = Parts.GetText("model");
  const fs::path folder = fs::path(NativePath(Parts.GetName())).parent_path();
  std::FILE* file = text.empty() ? nullptr : CreateTemporaryFile(folder, Model);
  if (!file) return false;
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  Options.Model = Model.Path.string();
  return std::fclose(file) == 0 && isWritten;
}

/** The coefficients that the run of the first part had; those of the others are compared. */
bool trelRunMerge::TakeChanges()
{
  std::istringstream lines(Parts.GetText("changed_coefficients"));
  for (std::string line; std::getline(lines, line);) {
    if (!ReadCoefficientChange(line, &Options.Changes.emplace_back()).empty()) return false;
  }
  return true;
}
