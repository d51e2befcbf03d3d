// Records, categories and the shared settings as a user meets them.
#include <gtest/gtest.h>

#include "core/File.h"
#include "core/FileCategory.h"
#include "core/SettingsManager.h"
#include "core/Texts.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

TEST(FileRecord, takesTheLowerCasedExtensionAndItsCategoryFromTheName) {
    testing::TempTree tree;
    struct Case {
        const char* name;
        const char* ext;
        FileCategory category;
    };
    const Case cases[] = {
        {"Photo.JPG", "jpg", FileCategory::Pictures},
        {"Report.PDF", "pdf", FileCategory::Documents},
        {"README", "", FileCategory::Other},
        {"scan.dds ", "dds ", FileCategory::Pictures},  // the stored entry has its blank
        {"clip.wmf", "wmf", FileCategory::Other},       // the movie list holds "WMF" only
        {"song.ogg", "ogg", FileCategory::Music},       // first list wins over movies
        {"anim.mng", "mng", FileCategory::Pictures},
        {"Letter.pages", "pages", FileCategory::Documents},
        {"Tool.app", "app", FileCategory::Other},
        {"archive.tar.GZ", "gz", FileCategory::Other},
        {"ÉTÉ.ÄVI", "ävi", FileCategory::Other},
    };
    for (const Case& c : cases) {
        const File file(tree.createFile(c.name, "12345"));
        EXPECT_EQ(file.ext, c.ext) << c.name;
        EXPECT_EQ(categoryForExtension(file.ext), c.category) << c.name;
        EXPECT_EQ(file.size, 5u) << c.name;
        EXPECT_FALSE(file.wasFound);
        EXPECT_EQ(file.keepOption, KeepNone);
        EXPECT_TRUE(file.MD5Hash.empty());
    }
}

TEST(FileRecord, keepsSizeZeroAndSaysWhyWhenTheItemCannotBeRead) {
    testing::ConsoleCollector console;
    const File file("/no/such/place/file.txt");
    EXPECT_EQ(file.size, 0u);
    ASSERT_EQ(console.lines().size(), 1u);
    EXPECT_TRUE(console.anyStartsWith("Error: ")) << console.lines()[0];
}

TEST(FileRecord, startsWithTheDefaultRuleTextSharedByEveryGroup) {
    File a("/x"), b("/y");
    EXPECT_EQ(a.customSettings.str(), kDefaultCustomSettings);
    EXPECT_EQ(std::count(kDefaultCustomSettings.begin(), kDefaultCustomSettings.end(), '\n'), 23);
    EXPECT_EQ(&a.customSettings.str(), &b.customSettings.str());
    b.customSettings = std::string("changed\n");
    EXPECT_EQ(a.customSettings.str(), kDefaultCustomSettings);
    EXPECT_FALSE(b.customSettings.isSharedDefault());
}

TEST(SettingsManager, startsWithTheDocumentedDefaults) {
    const SettingsManager settings;
    EXPECT_EQ(sizeText(settings.minimumFileSize), "200.0 KB");
    EXPECT_EQ(sizeText(settings.maximumFileSize), "100.0 GB");
    EXPECT_TRUE(settings.moveToTrash);
    EXPECT_TRUE(settings.ignorePackages);
    EXPECT_FALSE(settings.customFileTypes);
    EXPECT_EQ(settings.customMessageRespone, 1);
    EXPECT_EQ(settings.customFilePath, " ");
    EXPECT_EQ(settings.customSettingsOption, "Cancel");
    EXPECT_EQ(formatDate(settings.firstDate, "yyyy-MM-dd HH:mm:ss"), "2017-01-01 00:00:00");
    // To the millisecond what the default rule text reads as, though worked out without it.
    EXPECT_EQ(settings.firstDate, parseDate("01/01/2017", "dd/MM/yy"));
    EXPECT_EQ(settings.secondDate, settings.firstDate);
}

TEST(SettingsManager, sharedInstanceIsOneObject) {
    SettingsManager& first = SettingsManager::shared();
    first.selectedFile = 42;
    EXPECT_EQ(SettingsManager::shared().selectedFile, 42);
    EXPECT_EQ(&SettingsManager::shared(), &first);
    first.selectedFile = 0;
}

}  // namespace
}  // namespace kelvora
