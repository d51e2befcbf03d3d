// The count cell of the groups table.
#include "results/ResultsView.h"

#include <algorithm>

namespace kelvora {

namespace {
std::size_t selectedCount(const File& group) {
    return static_cast<std::size_t>(
        std::count_if(group.duplicates.begin(), group.duplicates.end(),
                      [](const DuplicateFile& member) { return member.checkState == 1; }));
}
}  // namespace

std::string countText(const File& group) {
    return std::to_string(selectedCount(group)) + "/" + std::to_string(group.duplicates.size());
}

TextColour countColour(const File& group) {
    const std::size_t staying = group.duplicates.size() - selectedCount(group);
    if (staying >= 2) return TextColour::SystemRed;
    return staying == 1 ? TextColour::Green : TextColour::Orange;
}

}  // namespace kelvora
