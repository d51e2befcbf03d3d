// Feeds arbitrary bytes to the custom rule text reader through the bounded reader of small
// files, as --rules reads them: it must never crash, hang or read out of bounds, and the rules
// it leaves must write a text that reads back to the same rules.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/SettingsManager.h"
#include "platform/TextFile.h"
#include "results/CustomSettingsText.h"

namespace {

// One file for the whole run, rewritten for each input.
const std::string& rulesFile() {
    static const std::string path = [] {
        std::string pattern = "/tmp/kelvora-rules-fuzz-XXXXXX";
        const int fd = ::mkstemp(pattern.data());
        if (fd < 0) std::abort();
        ::close(fd);
        return pattern;
    }();
    return path;
}

void write(const std::uint8_t* data, std::size_t size) {
    const int fd = ::open(rulesFile().c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0 || ::write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
    ::close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kBound = 4096;
    write(data, size);
    const auto text = kelvora::platform::readSmallTextFile(rulesFile(), kBound, "rules");
    if (!text) {
        if (size <= kBound) std::abort();
        return 0;
    }
    if (text->size() != size) std::abort();
    static kelvora::SettingsManager settings;
    kelvora::ResetCustomSettings(settings);
    kelvora::LoadCustomSettings(settings, *text);
    const std::string written = kelvora::CustomSettingsString(settings);
    kelvora::SettingsManager reread;
    if (!kelvora::LoadCustomSettings(reread, written) ||
        kelvora::CustomSettingsString(reread) != written) {
        std::abort();
    }
    return 0;
}
