// Keep options decided on a step's own check states, then installed into the shared records.
#include "results/KeepSelection.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "engine/FileTools.h"
#include "results/CustomSettingsText.h"

namespace kelvora {

namespace {

using States = std::vector<std::int64_t>;

// The states one keep option gives the members of a record. The target group decides: its
// oldest or newest member stays, its size and extension are what the custom rules test.
class Evaluation {
public:
    Evaluation(std::int64_t segment, SettingsManager& rules) : segment_(segment), tools_(rules) {}

    void setGroup(const File& group) {
        group_ = &group;
        keptPath_.reset();
        if (group.duplicates.empty()) return;
        if (segment_ == KeepOldest) keptPath_ = tools_.oldestDuplicate(group.duplicates).path;
        if (segment_ == KeepNewest) keptPath_ = tools_.newestDuplicate(group.duplicates).path;
    }

    States states(const std::vector<DuplicateFile>& members) const {
        States out(members.size(), 0);
        for (std::size_t i = 0; i < members.size(); ++i) out[i] = selected(members[i]) ? 1 : 0;
        return out;
    }

    // The copy that stays when custom rules selected every copy: 1 the oldest, 2 the newest.
    std::optional<std::string> guardKeeps(std::int64_t answer) const {
        if (group_->duplicates.empty()) return std::nullopt;
        if (answer == 1) return tools_.oldestDuplicate(group_->duplicates).path;
        if (answer == 2) return tools_.newestDuplicate(group_->duplicates).path;
        return std::nullopt;
    }

private:
    bool selected(const DuplicateFile& member) const {
        switch (segment_) {
            case KeepOldest:
            case KeepNewest:
                return keptPath_ && member.path != *keptPath_;
            case KeepAll:
                return true;
            case KeepCustom:
                return tools_.matchesCustomSettings(member, group_->size, group_->ext);
            default:
                return false;
        }
    }

    std::int64_t segment_;
    FileTools tools_;
    const File* group_ = nullptr;
    std::optional<std::string> keptPath_;
};

// Other records of the shared list that hold a target's path. Applying to every group looks
// them up through an index; a single group is cheaper to find by one pass over the list.
class Twins {
public:
    Twins(const FileList& all, bool indexed) : all_(all), indexed_(indexed) {
        if (!indexed) return;
        index_.reserve(all.size());
        for (const FilePtr& record : all) index_.emplace(record->path, &record);
    }

    std::vector<FilePtr> of(const FilePtr& group) const {
        std::vector<FilePtr> twins;
        const auto add = [&](const FilePtr& record) {
            if (record != group && record->path == group->path) twins.push_back(record);
        };
        if (!indexed_) {
            for (const FilePtr& record : all_) add(record);
            return twins;
        }
        const auto [first, last] = index_.equal_range(group->path);
        for (auto it = first; it != last; ++it) add(*it->second);
        return twins;
    }

private:
    const FileList& all_;
    bool indexed_;
    std::unordered_multimap<std::string_view, const FilePtr*> index_;
};

bool allSelected(const States& checks) {
    return !checks.empty() &&
           std::all_of(checks.begin(), checks.end(), [](std::int64_t state) { return state == 1; });
}

void keepMember(States& checks, const std::vector<DuplicateFile>& members,
                const std::string& path) {
    for (std::size_t i = 0; i < members.size() && i < checks.size(); ++i) {
        if (members[i].path == path) checks[i] = 0;
    }
}

std::vector<std::size_t> targetsOf(std::size_t count, std::int64_t applyForAll,
                                   std::int64_t lastSelectedRow) {
    std::vector<std::size_t> targets;
    if (applyForAll == 1) {
        for (std::size_t i = 0; i < count; ++i) targets.push_back(i);
    } else if (lastSelectedRow >= 0 && static_cast<std::size_t>(lastSelectedRow) < count) {
        targets.push_back(static_cast<std::size_t>(lastSelectedRow));
    }
    return targets;
}

}  // namespace

std::vector<GroupState> takeGroupStates(const FileList& groups) {
    std::vector<GroupState> states;
    states.reserve(groups.size());
    for (const FilePtr& group : groups) {
        States checks;
        checks.reserve(group->duplicates.size());
        for (const DuplicateFile& member : group->duplicates) checks.push_back(member.checkState);
        states.push_back({group, std::move(checks)});
    }
    return states;
}

std::vector<GroupChange> ApplyKeepOption(std::vector<GroupState>& groups,
                                         const FileList& duplicateFileList, std::int64_t segment,
                                         std::int64_t applyForAll, std::int64_t lastSelectedRow,
                                         SettingsManager& rules) {
    if (segment < KeepNone || segment > KeepCustom) return {};
    if (segment == KeepCustom && rules.customSettingsOption != "OK") return {};
    const std::vector<std::size_t> targets = targetsOf(groups.size(), applyForAll, lastSelectedRow);
    std::optional<RuleText> ruleText;
    if (segment == KeepCustom) ruleText = RuleText(CustomSettingsString(rules));
    const bool guard = segment == KeepCustom && applyForAll == 1;

    Evaluation evaluation(segment, rules);
    // Each option is evaluated as written, and then never selects a reference copy.
    const auto statesOf = [&evaluation](const std::vector<DuplicateFile>& members) {
        States checks = evaluation.states(members);
        for (std::size_t i = 0; i < members.size() && i < checks.size(); ++i) {
            if (members[i].reference) checks[i] = 0;
        }
        return checks;
    };
    const Twins twins(duplicateFileList, targets.size() > 1);
    std::vector<GroupChange> changes;
    for (const std::size_t index : targets) {
        GroupState& group = groups[index];
        evaluation.setGroup(*group.file);
        group.checks = statesOf(group.file->duplicates);
        const std::size_t first = changes.size();
        changes.push_back({group.file, segment, ruleText, group.checks});
        for (const FilePtr& twin : twins.of(group.file)) {
            changes.push_back({twin, segment, ruleText, statesOf(twin->duplicates)});
        }
        if (!guard || !allSelected(group.checks)) continue;
        const auto kept = evaluation.guardKeeps(rules.customMessageRespone);
        if (!kept) continue;
        keepMember(group.checks, group.file->duplicates, *kept);
        for (std::size_t i = first; i < changes.size(); ++i) {
            keepMember(changes[i].checks, changes[i].file->duplicates, *kept);
        }
    }
    return changes;
}

void installChanges(const std::vector<GroupChange>& changes) {
    for (const GroupChange& change : changes) {
        File& record = *change.file;
        record.keepOption = change.keepOption;
        if (change.customSettings) record.customSettings = *change.customSettings;
        // Only a cleaning changes members, and it installs pending decisions before it starts;
        // a mismatch would mean the states belong to other members.
        if (record.duplicates.size() != change.checks.size()) continue;
        for (std::size_t i = 0; i < change.checks.size(); ++i) {
            record.duplicates[i].checkState = change.checks[i];
        }
    }
}

void applyKeepOptionToAll(SettingsManager& settings, std::int64_t segment,
                          std::int64_t guardAnswer) {
    settings.customMessageRespone = guardAnswer;
    std::vector<GroupState> groups = takeGroupStates(settings.duplicateFileList);
    installChanges(ApplyKeepOption(groups, settings.duplicateFileList, segment, 1, 0, settings));
}

}  // namespace kelvora
