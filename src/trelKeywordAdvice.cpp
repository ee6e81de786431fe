#include "trelKeywordAdvice.h"

#include "trelReadState.h"
#include "trelText.h"

/** The parts in words, and the keyword that ends each. */
struct trelKeywordAdvicePart
{
  trelFilePart Part;
  const char* Name;
  const char* End;
};

static const trelKeywordAdvicePart parts[] = {
    {PartHeader, "the header", "simulationproperty"},
    {PartProperties, "the simulationproperty block", "endsimulationproperty"},
    {PartWavelengths, "the wavelengths, behind endsimulationproperty", "spectrum"},
    {PartModel3D, "the model, behind the wavelengths", "endtrl"},
    {PartModel2D, "the model in the plane", "endtrl"}};

void AppendKeywords(const char* words, trelFilePart part, int needs,
                    std::vector<trelKnownKeyword>& keywords)
{
  std::vector<std::string> list;
  AppendWords(words, list);
  for (const std::string& word : list)
    keywords.push_back({word, part, needs});
}

static const trelKeywordAdvicePart& GetPart(int found)
{
  for (const trelKeywordAdvicePart& part : parts) {
    if (part.Part & found) return part;
  }
  return parts[0];
}

static void ExplainLength(trelReadState& state, int needs)
{
  const int given = state.GetText().GetNumberOfTokens() - 1;
  state.Explain(FindingError, 0,
                std::string(state.GetText().GetToken(0)) + " needs " + std::to_string(needs - 1) +
                    (needs == 2 ? " word" : " words") + " behind it, found " +
                    std::to_string(given),
                "write what is missing; docs/parameter-file.md has the form of the line");
}

/** A keyword of a later part means that this one has no end. */
static void ExplainPlace(trelReadState& state, trelFilePart part, int place)
{
  const std::string word(state.GetText().GetToken(0));
  const bool isModel = (part & (PartModel2D | PartModel3D)) != 0;
  if (isModel && place == PartWavelengths &&
      state.GetText().GetInteger(1) > state.GetSpectrumNum()) {
    state.ExplainIndex("spectrumnum", state.GetSpectrumNum());
    return;
  }
  const bool isLater = place > part && part == PartProperties;
  state.Explain(
      FindingError, 0,
      word + " has no place in " + GetPart(part).Name + ": it belongs to " + GetPart(place).Name,
      isLater ? std::string("write ") + GetPart(part).End + " ahead of this line"
              : "move the line there");
}

void ExplainKeyword(trelReadState& state, trelFilePart part,
                    const std::vector<trelKnownKeyword>& keywords)
{
  const std::string_view given = state.GetText().GetToken(0);
  std::vector<std::string> words;
  int place = 0;
  for (const trelKnownKeyword& keyword : keywords) {
    if (keyword.Parts & part) words.push_back(keyword.Word);
    if (!EqualWords(keyword.Word, given)) continue;
    if (keyword.Parts & part) return ExplainLength(state, keyword.Needs);
    if (place == 0) place = keyword.Parts;
  }
  if (place != 0) return ExplainPlace(state, part, place);
  const std::string nearest = FindNearestWord(given, words);
  state.Explain(FindingError, 0,
                "unknown keyword " + QuoteWord(given) +
                    (nearest.empty() ? "" : "; did you mean '" + nearest + "'?"),
                nearest.empty()
                    ? "docs/parameter-file.md lists the keywords; a comment begins with #"
                    : "write " + nearest);
}
