// Passwords that a login gets by itself, or keeps elsewhere: the page of a server, the keyring.
#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;
using support::Request;
using support::ScriptedServer;

class BrowserLogin : public ProgramTest {
protected:
    Answer offer(const std::string& page, const std::string& endpoint) const {
        return Answer(200, "{\"poll\":{\"token\":\"t0ken\",\"endpoint\":\"" + endpoint +
                               "\"},\"login\":\"" + page + "\"}");
    }
    // A cloud below /cloud, whose ann has this password for programs.
    void serve() {
        server.on("*", "/cloud/remote.php/*", [](const Request& request) {
            const auto given = request.field("Authorization");
            if (given != "Basic YW5uOnMzY3JldA==") {
                return Answer(401).with("WWW-Authenticate", "Basic realm=\"r\"");
            }
            if (request.target != "/cloud/remote.php/dav/files/ann/") return Answer(404);
            return Answer(200).with("DAV", "1").with("Allow", "GET, HEAD, OPTIONS, PROPFIND");
        });
        for (const char* above : {"/", "/cloud/"}) server.on("*", above, Answer(404));
        server.on("POST", start, offer(server.url("cloud/page"), server.url(poll)));
    }
    Arguments login(const std::string& seconds = "30") const {
        return {"--timeout", seconds, "login", "cloud", server.url("cloud/"), "--browser"};
    }

    ScriptedServer server, other;
    const std::string start = "/cloud/index.php/login/v2", poll = "cloud/poll";
    const std::string signedIn =
        "{\"server\":\"x\",\"loginName\":\"ann\",\"appPassword\":\"s3cret\"}";
};

TEST_F(BrowserLogin, thePersonSignsInSomewhereElse) {
    serve();
    server.inTurn(
        "POST", "/" + poll,
        {Answer(404), Answer(503), Answer(200, signedIn).slowly(9, support::Duration(20))});
    const auto outcome = quillon(login());
    const std::string folder = server.url("cloud/remote.php/dav/files/ann/");
    expect(outcome, 0, "cloud: is " + folder + ", user ann\n");
    EXPECT_NE(outcome.errors.find("any browser: " + server.url("cloud/page")), std::string::npos);
    for (const Request& request : server.requests()) {
        if (request.method != "POST") continue;
        EXPECT_EQ(request.body, request.target == start ? "" : "token=t0ken");
        EXPECT_EQ(request.field("User-Agent"), "quillon");
        EXPECT_EQ(request.field("Authorization"), "");
    }
    expect({{{"get", "cloud:none", "-"}, 3, ""}});
    for (const char* secret : {"s3cret", "t0ken"}) {
        const auto loud = quillon({"-vv", "login", "cloud", server.url("cloud/"), "--browser"});
        EXPECT_EQ((loud.output + loud.errors).find(secret), std::string::npos) << loud.errors;
        EXPECT_EQ(support::readFile(home / "config/quillon/sites/cloud.toml").find(secret),
                  std::string::npos);
    }
}

TEST_F(BrowserLogin, whatIsWrongIsTold) {
    const auto rows = std::vector<std::tuple<Answer, Answer, int, std::string>>{
        {Answer(404), Answer(500), 1, "There is no login by browser at"},
        {Answer(200, "[1]"), Answer(500), 1, "There is no login by browser at"},
        {Answer(200, "{\"login\":"), Answer(500), 1, "There is no login by browser at"},
        {Answer(500), Answer(500), 7, "500"},
        {offer(server.url("p"), other.url(poll)), Answer(500), 1, other.url().substr(0, 20)},
        {offer(other.url("p"), server.url(poll)), Answer(500), 1, "which is another one and was"},
        {offer(server.url("p\\u001b[2J"), server.url(poll)), Answer(500), 1, "no login by browser"},
        {offer(server.url("p"), server.url(poll)), Answer(403), 1, "403"},
        {offer(server.url("p"), server.url(poll)), Answer(200, "{}"), 7, "names no user"},
        {offer(server.url("p"), server.url(poll)), Answer(404), 4, "Nobody signed in in time."},
        {offer(server.url("p"), server.url(poll)), Answer(200, signedIn).stalledAfter(9), 7,
         "no byte"},
        {offer(server.url("p"), server.url(poll)), Answer(307).with("Location", other.url(poll)), 1,
         other.url(poll)}};
    for (const auto& [begun, polled, code, told] : rows) {
        serve();
        server.on("POST", start, begun);
        server.on("POST", "/" + poll, polled);
        expect({{login("2"), code, told}, {{"ls", "cloud:"}, 2, "There is no site"}});
    }
    EXPECT_EQ(other.transcript(), "");
    // The person gives up.
    server.on("POST", start, offer(server.url("p"), server.url(poll)));
    server.on("POST", "/" + poll, Answer(404));
    support::RunningProcess program(command(login()), support::Streams::terminal);
    ASSERT_TRUE(program.expect("with any browser"));
    program.send("\x03");
    EXPECT_EQ(program.wait()->exitCode, 130) << program.output();
}

// secret-tool keeps what it is given in a file here.
TEST_F(BrowserLogin, aKeyringKeepsThePassword) {
    serve();
    std::filesystem::create_directory(work / "bin");
    const auto tool = work / "bin/secret-tool";
    const std::string ring = "'" + (work / "ring").string() + "'";
    writeFile(tool, "#!/bin/sh\ncase $1 in store) cat > " + ring + ";; lookup) cat " + ring +
                        ";; clear) rm " + ring + ";; esac\n");
    chmod(tool.c_str(), 0755);
    writeFile(work / "password", "s3cret\n");
    const auto with = [&](Arguments words) {
        support::Command all = command(std::move(words));
        all.environment["PATH"] = (work / "bin").string() + ":" + std::getenv("PATH");
        return support::run(all);
    };
    const std::string url = server.url("cloud/remote.php/dav/files/ann/");
    const Arguments keep{"login", "ring", url, "-uann", "--password-file", "password", "--keyring"};
    expect(with(keep), 0, "ring: is " + url + ", user ann\n");
    const auto site = home / "config/quillon/sites/ring.toml";
    EXPECT_EQ(support::readFile(work / "ring"), "s3cret");
    EXPECT_EQ(support::readFile(site).find("password = "), std::string::npos);
    expect(with({"get", "ring:none", "-"}), 3, "");
    expect(with({"login", "ring", "--password-file", "password"}), 0,
           "ring: is " + url + ", user ann\n");
    expect(with({"logout", "ring"}), 0, "");
    EXPECT_FALSE(std::filesystem::exists(work / "ring"));
    writeFile(tool, "#!/bin/sh\nexit 1\n");
    const auto outcome = with(keep);
    expect(outcome, 0, "ring: is " + url + ", user ann\n");
    EXPECT_NE(outcome.errors.find("stored encrypted instead"), std::string::npos);
    expect(with({"get", "ring:none", "-"}), 3, "");
    expect(with({"sites"}), 0, "ring  " + url + "  ann  password stored\n");
}

}  // namespace
}  // namespace quillon::cli
