// kelvora-cli as a user runs it: exit codes, text and JSON output.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <regex>

#include "support/TempTree.h"

namespace kelvora {
namespace {

struct Outcome {
    int exitCode;
    std::string out;
};

Outcome runCli(const std::string& arguments, const std::string& environment = "") {
    const std::string command =
        environment + std::string(KELVORA_CLI) + " " + arguments + " 2>/dev/null";
    FILE* pipe = ::popen(command.c_str(), "r");
    Outcome outcome{-1, {}};
    char buffer[4096];
    while (std::size_t got = std::fread(buffer, 1, sizeof buffer, pipe))
        outcome.out.append(buffer, got);
    const int status = ::pclose(pipe);
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

TEST(Cli, refusesBadInputWithExitCode2) {
    testing::TempTree tree;
    const std::string file = tree.createFile("file.txt", "x");
    EXPECT_EQ(runCli(quoted(tree.path("missing"))).exitCode, 2);
    EXPECT_EQ(runCli(quoted(file)).exitCode, 2);
    EXPECT_EQ(runCli("--min-size 2M --max-size 1M " + quoted(tree.root())).exitCode, 2);
    EXPECT_EQ(runCli("--min-size 200G " + quoted(tree.root())).exitCode, 2)
        << "above the default maximum";
    EXPECT_EQ(runCli("--min-size lots " + quoted(tree.root())).exitCode, 2);
    EXPECT_EQ(runCli("--frobnicate " + quoted(tree.root())).exitCode, 2);
    EXPECT_EQ(runCli("--help").exitCode, 0);
}

TEST(Cli, printsItsVersionAndListsTheOptionInItsHelp) {
    const Outcome version = runCli("--version");
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out.rfind("kelvora-cli " KELVORA_VERSION, 0), 0u) << version.out;
    EXPECT_EQ(version.out.find('\n'), version.out.size() - 1);
    EXPECT_NE(runCli("--help").out.find("  --version "), std::string::npos);
}

// The date a script reads must be the instant the written text shows, which drops AM/PM.
TEST(Cli, jsonGivesEachDateInIso8601BesideItsText) {
    testing::TempTree tree;
    tree.createFilled("a.bin", 3000, 'a');
    tree.createFilled("b.bin", 3000, 'a');
    const std::string out = runCli("--json --min-size 1 " + quoted(tree.root())).out;
    const std::regex member(
        R"re("date": "(\d\d)-(\d\d)-(\d\d) (\d\d):(\d\d:\d\d)", )re"
        R"re("dateISO": "20(\d\d)-(\d\d)-(\d\d)T(\d\d):(\d\d:\d\d)-0[45]:00")re");
    int members = 0;
    for (auto it = std::sregex_iterator(out.begin(), out.end(), member);
         it != std::sregex_iterator(); ++it, ++members) {
        const std::smatch& m = *it;
        const int hour = std::stoi(m[9]) % 12;
        EXPECT_EQ(m[1].str() + m[2].str() + m[3].str(), m[6].str() + m[7].str() + m[8].str());
        EXPECT_EQ(std::stoi(m[4]), hour == 0 ? 12 : hour);
        EXPECT_EQ(m[5], m[10]);
    }
    EXPECT_EQ(members, 2) << out;
}

TEST(Cli, printsOneBlockPerGroupOrSaysThereIsNone) {
    testing::TempTree tree;
    tree.createFilled("a.jpg", 2048, 'a');
    tree.createFilled("b.jpg", 2048, 'a');
    tree.createFilled("c.txt", 2048, 'c');
    const Outcome none = runCli("--min-size 3K " + quoted(tree.root()));
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_EQ(none.out, "No duplicate files found.\n");
    const Outcome found = runCli("--min-size 2K --max-size 2K " + quoted(tree.root()));
    EXPECT_EQ(found.exitCode, 0);
    // Walked a, b, c; the quicksort orders them c, a, b, so a heads.
    EXPECT_EQ(found.out,
              "2.0 KB, 2 files\n" + tree.path("a.jpg") + "\n" + tree.path("b.jpg") + "\n\n");
    EXPECT_EQ(runCli("--min-size 1 --ext txt " + quoted(tree.root())).out,
              "No duplicate files found.\n");
}

TEST(Cli, marksGroupsMatchedOnSizeAlone) {
    testing::TempTree tree;
    tree.createSparse("big-a", 104857600, 5, 'a');
    tree.createSparse("big-b", 104857600, 5, 'b');
    const Outcome text = runCli("--min-size 100M " + quoted(tree.root()));
    EXPECT_EQ(text.out.substr(0, text.out.find('\n')), "100.0 MB, 2 files (matched on size alone)");
    EXPECT_NE(
        runCli("--json --min-size 100M " + quoted(tree.root())).out.find("\"sizeOnly\": true"),
        std::string::npos);
}

TEST(Cli, takesTheScanSettingsFromAProfileUnderItsOwnOptions) {
    testing::TempTree tree;
    tree.createFilled("a.txt", 1500, 't');
    tree.createFilled("b.txt", 1500, 't');
    tree.createFilled("c.jpg", 1500, 'j');
    tree.createFilled("d.jpg", 1500, 'j');
    // Custom types "txt", 1 byte to 2 KiB, removal to the trash, packages ignored.
    const std::string profile =
        tree.createFile("profile.kvr", "1\ntxt\n1\n2048\n0.0\n1.0\n0\n1\n1\n0\n1\n");
    const Outcome fromProfile = runCli("--profile " + quoted(profile) + " " + quoted(tree.root()));
    EXPECT_EQ(fromProfile.exitCode, 0);
    EXPECT_EQ(fromProfile.out,
              "1.5 KB, 2 files\n" + tree.path("b.txt") + "\n" + tree.path("a.txt") + "\n\n");
    const Outcome overridden =
        runCli("--profile " + quoted(profile) + " --ext jpg " + quoted(tree.root()));
    EXPECT_NE(overridden.out.find("c.jpg"), std::string::npos) << overridden.out;
    EXPECT_EQ(
        runCli("--profile " + quoted(profile) + " --min-size 3K " + quoted(tree.root())).exitCode,
        2)
        << "the profile's maximum is below the minimum given";
    const std::string damaged = tree.createFile("damaged.kvr", "2\ntxt\n");
    EXPECT_EQ(runCli("--profile " + quoted(damaged) + " " + quoted(tree.root())).exitCode, 2);
}

TEST(Cli, keepsTheOldestAndCleansTheRestToTheTrashOfTheHome) {
    testing::TempTree tree;
    const std::string home = tree.createFolder("home");
    // Made within the same second: the creation dates tie, and the group's head stays. The
    // quicksort puts b before a, so b heads the group.
    const std::string copy = tree.createFilled("data/a.jpg", 3000, 'p');
    const std::string photo = tree.createFilled("data/b.jpg", 3000, 'p');
    const std::string environment = "HOME='" + home + "' XDG_DATA_HOME='" + home + "/share' ";
    const std::string search = "--min-size 1 --keep oldest " + quoted(tree.path("data"));

    const Outcome listed = runCli(search);
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_NE(listed.out.find("remove  " + copy), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("keep    " + photo), std::string::npos);
    EXPECT_NE(runCli("--json " + search).out.find("\"checkState\": 1"), std::string::npos);

    EXPECT_EQ(runCli(search + " --clean trash --dry-run").exitCode, 0);
    EXPECT_EQ(runCli("--clean trash " + quoted(tree.path("data"))).exitCode, 2) << "without --keep";
    const Outcome declined = runCli("--clean delete " + search + " < /dev/null");
    EXPECT_NE(declined.out.find("Nothing was removed."), std::string::npos);
    ASSERT_TRUE(std::filesystem::exists(copy))
        << "a dry run and a declined question remove nothing";

    const Outcome cleaned = runCli(search + " --clean trash --yes", environment);
    EXPECT_EQ(cleaned.exitCode, 0) << cleaned.out;
    EXPECT_FALSE(std::filesystem::exists(copy));
    EXPECT_TRUE(std::filesystem::exists(photo));
    EXPECT_TRUE(std::filesystem::exists(home + "/share/Trash/files/a.jpg"));
    EXPECT_TRUE(std::filesystem::exists(home + "/share/Trash/info/a.jpg.trashinfo"));
}

TEST(Cli, refusesCustomKeepingWithoutAReadableRuleText) {
    testing::TempTree tree;
    const std::string rules = tree.createFile("rules.txt", "0\n0\n1\n");
    EXPECT_EQ(runCli("--keep custom " + quoted(tree.root())).exitCode, 2);
    EXPECT_EQ(runCli("--keep custom --rules " + quoted(rules) + " " + quoted(tree.root())).exitCode,
              2);
    EXPECT_EQ(runCli("--keep sometimes " + quoted(tree.root())).exitCode, 2);
}

TEST(Cli, jsonKeepsPathsThatAreNotUtf8) {
    testing::TempTree tree;
    tree.createFilled("caf\xc3\xa9.png", 10, 'z');
    tree.createFilled("raw\xff\"q.png", 10, 'z');
    const Outcome outcome = runCli("--json --min-size 1 " + quoted(tree.root()));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.out.find("\"filesFound\": 2"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("\"category\": 1"), std::string::npos);
    EXPECT_NE(outcome.out.find("\"sizeOnly\": false"), std::string::npos);
    EXPECT_NE(outcome.out.find("/caf\xc3\xa9.png\""), std::string::npos);
    EXPECT_NE(outcome.out.find("/raw\\udcff\\\"q.png\""), std::string::npos) << outcome.out;
}

TEST(Cli, referenceCopiesAreNeverSelectedAndGroupsOfThemAloneAreNotShown) {
    testing::TempTree tree;
    // Group a: the reference copy is the oldest; group b: it is the newest; group c: only
    // reference copies, one of them in a reference folder nested in a searched one.
    tree.createFilled("archive/a.jpg", 3000, 'a');
    tree.createFilled("archive/c.jpg", 5000, 'c');
    tree.createFilled("data/archive2/c.jpg", 5000, 'c');
    ::sleep(1);
    tree.createFilled("data/a.jpg", 3000, 'a');
    tree.createFilled("data/b.jpg", 4000, 'b');
    tree.createFilled("data/b2.jpg", 4000, 'b');
    ::sleep(1);
    tree.createFilled("archive/b.jpg", 4000, 'b');
    const std::string folders = "--reference " + quoted(tree.path("archive")) + " --reference " +
                                quoted(tree.path("data/archive2")) + " " +
                                quoted(tree.path("data"));
    for (const char* keep : {"none", "oldest", "newest", "all"}) {
        SCOPED_TRACE(keep);
        const Outcome listed = runCli("--min-size 1 --keep " + std::string(keep) + " " + folders);
        EXPECT_EQ(listed.exitCode, 0);
        EXPECT_NE(listed.out.find("keep    " + tree.path("archive/a.jpg") + "  (reference)"),
                  std::string::npos)
            << listed.out;
        EXPECT_NE(listed.out.find("keep    " + tree.path("archive/b.jpg") + "  (reference)"),
                  std::string::npos);
        EXPECT_EQ(listed.out.find("c.jpg"), std::string::npos) << "nothing of it may go";
    }
    const Outcome json = runCli("--json --min-size 1 --keep all " + folders);
    EXPECT_NE(json.out.find("\"checkState\": 0, \"reference\": true}"), std::string::npos);
    EXPECT_EQ(json.out.find("\"checkState\": 1, \"reference\": true"), std::string::npos);

    const std::string home = tree.createFolder("home");
    const Outcome cleaned =
        runCli("--min-size 1 --keep all --clean delete --yes " + folders, "HOME='" + home + "' ");
    EXPECT_EQ(cleaned.exitCode, 0) << cleaned.out;
    for (const char* kept :
         {"archive/a.jpg", "archive/b.jpg", "archive/c.jpg", "data/archive2/c.jpg"})
        EXPECT_TRUE(std::filesystem::exists(tree.path(kept))) << kept;
    for (const char* gone : {"data/a.jpg", "data/b.jpg", "data/b2.jpg"})
        EXPECT_FALSE(std::filesystem::exists(tree.path(gone))) << gone;
}

}  // namespace
}  // namespace kelvora
