#include "trelObjectDisplay.h"

#include <algorithm>

static const trelDisplayGroup plainGroups[trelObjectDisplay::NumberOfGroups] = {
    {1.0f, 1.0f, 1.0f, 0.3f, true, true},
    {1.0f, 1.0f, 1.0f, 0.1f, true, false},
    {1.0f, 1.0f, 1.0f, 0.1f, true, true},
    {1.0f, 1.0f, 1.0f, 0.2f, false, false}};

trelObjectDisplay::trelObjectDisplay() : trelObjectDisplay(plainGroups) {}

trelObjectDisplay::trelObjectDisplay(const trelDisplayGroup (&groups)[NumberOfGroups])
{
  std::copy(std::begin(groups), std::end(groups), Groups);
}

void trelObjectDisplay::SetDisplay(int group, float red, float green, float blue, float opacity,
                                   bool flagA, bool flagB)
{
  if (group < 0 || group >= NumberOfGroups) return;
  Groups[group] = {red, green, blue, opacity, flagA, flagB};
}

const trelDisplayGroup* trelObjectDisplay::GetDisplay(int group) const
{
  return group < 0 || group >= NumberOfGroups ? nullptr : &Groups[group];
}
