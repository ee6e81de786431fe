#include "trelShapeLine.h"

#include "trelPaths.h"
#include "trelShapeFactory.h"
#include "trelText.h"
#include "trelTraceableMesh.h"

bool IsSolidShape(const trelShapeTraits& shape)
{
  return !shape.IsPlanar() && shape.Role != RoleMedium;
}

bool IsPlanarShape(const trelShapeTraits& shape)
{
  return shape.IsPlanar();
}

bool IsFiberShape(const trelShapeTraits& shape)
{
  return shape.Role == RoleBodyOrFiber;
}

static std::vector<std::string> ListShapes(trelShapeFilter admits)
{
  std::vector<std::string> words;
  for (const trelShapeTraits& traits : ShapeTraits)
    if (admits(traits)) AppendWords(traits.Words, words);
  return words;
}

trelShapeObject* MakeNamedShape(trelReadState& state, trelShapeFilter admits)
{
  for (int type = 0; type < NumberOfShapes; ++type) {
    if (admits(ShapeTraits[type]) && state.GetText().IsOneOf(1, ShapeTraits[type].Words))
      return MakeShape(static_cast<ShapeType>(type));
  }
  state.ExplainWord(1, ListShapes(admits));
  return nullptr;
}

void LoadNamedMesh(trelReadState& state, trelTraceableMesh& mesh)
{
  std::string path;
  if (state.GetText().GetPath(path)) {
    const std::string given = path;
    ResolvePath(path);
    if (mesh.LoadFromFile(path.c_str())) return;
    state.Explain(FindingMistake, 1, "the mesh file " + QuoteWord(given) + " cannot be read",
                  "paths start at the folder of the model; looked for " + path);
  } else {
    state.Explain(FindingMistake, 0, std::string(state.GetText().GetToken(0)) + " has no path",
                  "write the path of a mesh file, in double quotes if it has blanks");
  }
  mesh.ClearMesh();
}
