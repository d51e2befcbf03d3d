// What the results window shows, as the results model drives it: a small interface that the
// Qt window implements and tests watch. Also the cell texts and colours of the groups table.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "core/File.h"
#include "core/FileCategory.h"
#include "results/Cleaning.h"

namespace kelvora {

// The six categories in the order every loop over them takes.
inline constexpr std::array<FileCategory, 6> kCategories = {
    FileCategory::Pictures, FileCategory::Music,     FileCategory::Movies,
    FileCategory::Archives, FileCategory::Documents, FileCategory::Other,
};
constexpr std::size_t categoryIndex(FileCategory category) {
    return static_cast<std::size_t>(category) - 1;
}

struct Rgba {
    double red, green, blue, alpha;
};

enum class TextColour {
    Black,
    SystemRed,  // the platform's own red, whatever the theme makes of it
    Green,
    Orange,
};
inline constexpr Rgba kGreen{27.0 / 255.0, 209.0 / 255.0, 51.0 / 255.0, 1.0};
inline constexpr Rgba kOrange{249.0 / 255.0, 183.0 / 255.0, 27.0 / 255.0, 1.0};

class ResultsView {
public:
    virtual ~ResultsView() = default;

    // Controls whose state the user changes and the model reads.
    virtual bool categoryChecked(FileCategory category) const = 0;
    virtual void setCategoryChecked(FileCategory category, bool checked) = 0;
    virtual bool applyForAllChecked() const = 0;
    virtual void setApplyForAllChecked(bool checked) = 0;
    virtual std::int64_t selectedSegment() const = 0;
    virtual void setSelectedSegment(std::int64_t segment) = 0;

    // What the model computed.
    virtual void setCategoryShare(FileCategory category, double barValue,
                                  const std::string& percentText) = 0;
    virtual void setSpaceSaved(const std::string& sizeText, TextColour colour) = 0;
    // Shows and animates the busy indicator, or stops and hides it.
    virtual void setBusy(bool busy) = 0;

    // The tables read the model's fileList and selectedRow when they reload. A change of
    // fileList is always followed by reloadGroups in the same main-thread step.
    virtual void reloadGroups() = 0;
    virtual void reloadMembers() = 0;
    virtual void reloadGroupCount(std::int64_t row) = 0;  // the count cell of one group
    // Replaces the groups table's selection; the window reports the outcome back through
    // ResultsModel::OnGroupSelectionChanged (-1 when the row does not exist).
    virtual void selectGroupRow(std::int64_t row) = 0;

    virtual void closeWindow() = 0;

    // Runs while a cleaning works on another thread: shows how far it is, keeps the window
    // answering, and returns once progress.finished is set. A stop the user asks for goes to
    // progress.stop.
    virtual void waitForCleaning(CleaningProgress& progress) = 0;
};

// The count cell of a group: "selected/members", coloured by the copies that stay.
std::string countText(const File& group);
TextColour countColour(const File& group);

}  // namespace kelvora
