// A group's custom keep rules as text, in the line layout every File.customSettings holds, and
// the rule fields of the shared settings that the text is written from and read into.
#pragma once

#include <string>
#include <string_view>

#include "core/SettingsManager.h"

namespace kelvora {

// Lines 1-22 from the rule fields, line 23 the number of extensions, then one per line; every
// line ends with a line feed. Dates are written "dd/MM/yy".
std::string CustomSettingsString(const SettingsManager& settings);

// Reads the text into the rule fields, each as soon as its line is read. Stops at the first line
// that is missing or does not parse; later fields keep their values. Dates are read with
// "dd/MM/yy", which takes "01/01/2017" as 2017 as well. True when every line the layout asks
// for was there and read.
bool LoadCustomSettings(SettingsManager& settings, std::string_view text);

// The rule fields as the results window sets them when it opens, customSettingsOption "Cancel".
void ResetCustomSettings(SettingsManager& settings);

// Copies the rule fields, customSettingsOption and customMessageRespone: the rules a background
// step evaluates while the window's thread may already be editing the next ones.
void copyCustomRules(const SettingsManager& from, SettingsManager& to);

}  // namespace kelvora
