#include "trelSourceProperty.h"

#include <algorithm>

#include "trelLightSource.h"
#include "trelReadState.h"
#include "trelText.h"

static const trelWord<LuminousType> LuminousWords[] = {{"excitation", LuminousExcitation},
                                                       {"emission", LuminousEmission}};

/** A word of "lightsourceproperty" and the switch that it sets. */
struct trelSourceSwitch
{
  void (trelLightSource::*Set)(bool);
  bool Value;
};

static const trelWord<trelSourceSwitch> SourceSwitchWords[] = {
    {"internal", {&trelLightSource::SetInternal, true}},
    {"external", {&trelLightSource::SetInternal, false}},
    {"solid", {&trelLightSource::SetSolid, true}},
    {"face", {&trelLightSource::SetSolid, false}},
    {"specular", {&trelLightSource::SetSpecular, true}},
    {"nospecular", {&trelLightSource::SetSpecular, false}}};

/** BLT and DOT have one kind of light, in FMT the first word for a kind decides. False for such a
 * word in another mode. */
static bool SetLuminousType(const trelParameterText& text, SimulationType mode,
                            trelLightSource& source)
{
  for (int i = 1; i < text.GetNumberOfTokens(); ++i) {
    const LuminousType* type = FindWord(text, i, LuminousWords);
    if (!type) continue;
    if (mode != FMT) return false;
    source.SetLuminousType(*type);
    break;
  }
  if (mode == BLT) source.SetLuminousType(LuminousBioluminescence);
  if (mode == DOT) source.SetLuminousType(LuminousDiffuse);
  return true;
}

static std::string CheckPlace(SimulationType mode, const trelLightSource& source)
{
  if (mode == BLT) {
    if (source.IsInternal() && !source.IsSpecular()) return "";
    return "The light source cannot be outside of the medium in BLT!\n";
  }
  if (!source.IsInternal() || !source.IsSpecular()) return "";
  return std::string("The light soruce in the medium should not have the specular reflection in ") +
         (mode == DOT ? "DOT!\n" : "FMT!\n");
}

std::string ReadSourceProperty(const trelParameterText& text, SimulationType mode,
                               trelLightSource& source)
{
  if (!SetLuminousType(text, mode, source)) return "3D light source property error!\n";
  for (int i = 1; i < text.GetNumberOfTokens(); ++i) {
    const trelSourceSwitch* found = FindWord(text, i, SourceSwitchWords);
    if (found) (source.*found->Set)(found->Value);
  }
  return CheckPlace(mode, source);
}

static std::vector<std::string> ListSourceWords()
{
  std::vector<std::string> words;
  for (const auto& word : LuminousWords)
    words.emplace_back(word.Words);
  for (const auto& word : SourceSwitchWords)
    words.emplace_back(word.Words);
  return words;
}

void ExplainSourceWords(trelReadState& state)
{
  if (!state.GetFindings()) return;
  const trelParameterText& text = state.GetText();
  const std::vector<std::string> words = ListSourceWords();
  for (int i = 1; i < text.GetNumberOfTokens() && text.GetToken(i)[0] != '#'; ++i) {
    const auto isMeant = [&](const std::string& word) {
      return EqualWords(word, text.GetToken(i));
    };
    if (std::none_of(words.begin(), words.end(), isMeant))
      state.ExplainWord(i, words, FindingMistake);
  }
}
