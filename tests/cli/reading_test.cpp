// ls, info and get against a real server.
#include <algorithm>

#include "tests/cli/program.hpp"

namespace quillon::cli {
namespace {

class Reading : public ProgramTest {
protected:
    const Apache server;
    const std::string url = server.url();
};

TEST_F(Reading, collectionsAreToldFromMembers) {
    server.addCollection("sub");
    server.addMember("sub/inner", "12345");
    server.addCollection("empty");
    addOldMember(server, "file", "1234567");
    server.addMember(".dot", "");
    std::filesystem::create_directory(work / "into");
    const std::string file = url + "file";
    expect({{{"ls", url}, 0, "empty/\nfile\nsub/\n"},
            {{"ls", "-a", url}, 0, ".dot\nempty/\nfile\nsub/\n"},
            {{"ls", url + "sub"}, 0, "inner\n"},
            {{"ls", url + "empty"}, 0, ""},
            {{"ls", file}, 0, "file\n"},
            {{"ls", "--json", url + "empty/"}, 0, "[]\n"},
            {{"ls", url + "no"}, 3, "cannot list"},
            {{"info", url + "sub/no"}, 3, "nothing at this URL"},
            {{"info", url + "no/no"}, 3, "no collection"},
            {{"get", file, "-"}, 0, "1234567"},
            {{"get", "-o", "-", file, file}, 0, "12345671234567"},
            {{"get", url + "sub"}, 1, "This is a collection. Use -r"},
            {{"get", url + "sub/"}, 2, "This is a collection. Use -r"},
            {{"get", url + "sub/", "-o", "x"}, 2, "Name a member of it"},
            {{"get", "-o", "x", file, file}, 2, "one file for several"},
            {{"get", "-r", "-o", "x", url}, 2, "-r brings trees"},
            {{"get", "-o", "into", file}, 2, "Use -O"},
            {{"get", "-o", "none/x", file}, 8, "none: No such file"},
            {{"get", url + "a%2Fb"}, 2, "Choose one with -o"},
            {{"get", "-"}, 2, "needs a URL"},
            {{"edit", file, "http://u:pw@h/"}, 2, "\"http://***@h/\" is one word too many"},
            {{"find", "-name", "*", url}, 2, "no option \"-name\" here. Did you mean --name?"},
            {{"get", "-recursive=x", url}, 2, "\"-recursive\" here. Did you mean --recursive?"},
            {{"gte", file},
             2,
             "There is no command \"gte\". Did you mean get?\nSee quillon --help."}});
    EXPECT_EQ(localFiles(), Names{"into"});
    expect({{{"get", "-O", "into", file}, 0, ""}});
    EXPECT_EQ(support::readFile(work / "into/file"), "1234567");
    expect({{{"get", file, "copy"}, 0, ""},
            {{"get", file, "into/"}, 0, ""},
            {{"get", file, "no/"}, 2, "There is no folder no/ here"},
            {{"get", file, "no/x"}, 2, "neither a URL"},
            {{"get", file, "no:x"}, 2, "There is no site"},
            {{"get", "--match", "f*", url, "copy"}, 2, "no folder"}});
    EXPECT_EQ(support::readFile(work / "copy"), "1234567");
    const auto age = std::filesystem::file_time_type::clock::now() -
                     std::filesystem::last_write_time(work / "into/file");
    EXPECT_GT(age, std::chrono::minutes(59));  // the server's date
    std::filesystem::remove_all(home / "cache");
    writeFile(home / "cache", "");
    expect({{{"get", "-o", "/dev/null", file}, 8, "directory " + (home / "cache/quillon").string()},
            {{"get", file, "-"}, 0, "1234567"}});  // of which nothing is kept
}

TEST_F(Reading, severalMembersShareConnectionsAndOneFailureIsNotTheEnd) {
    Arguments arguments{"get", "--jobs", "1"};
    for (int i = 0; i < 12; ++i) {
        const std::string name = std::to_string(i) + ".csv";
        if (i != 4) server.addMember(name, "text");
        arguments.push_back(url + name);
    }
    expect({{arguments, 3, "4.csv"}});
    EXPECT_EQ(localFiles().size(), 11u);
    EXPECT_LE(server.connections(), 4);  // of what is asked at the same time
    // One PROPFIND that logs in, and a GET of each.
    EXPECT_EQ(std::ranges::count(server.transcript(), '\n'), 1 + 12);

    server.clearTranscript();
    const std::string one = url + "1.csv";
    expect({{{"get", "-j3", one, one, one}, 0, ""}});
    EXPECT_LE(server.connections(), 4);  // for their order counts

    server.clearTranscript();
    for (const char* name : {".hidden.csv", "other.txt"}) server.addMember(name, "other");
    server.addCollection("folder.csv");
    expect({{{"get", "-j3", "--match", "*.csv", "-O", home.path(), url}, 0, ""}});
    EXPECT_LE(server.connections(), 4 + 12);  // the listing's, and all workers'
    EXPECT_TRUE(std::filesystem::exists(home / "11.csv"));
    EXPECT_FALSE(std::filesystem::exists(home / ".hidden.csv"));
}

}  // namespace
}  // namespace quillon::cli
