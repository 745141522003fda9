#include <tests/Host/HostProcess.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

// A session is a script that also runs by hand. Below each line of it, comments "#= {...}" hold the
// lines that it must print; "#! 2" holds its exit status where that is not 0. "UUID 1" stands for
// any UUID, the same one each time.
namespace telvora::tests {

namespace {

struct Session {
    std::string script;
    std::vector<std::string> expectedLines;
    int expectedStatus = 0;
};

Session readSession(const std::string& path)
{
    std::ifstream file(path);
    Session session;
    for (std::string line; std::getline(file, line);) {
        session.script += line + "\n";
        if (line.starts_with("#= "))
            session.expectedLines.push_back(line.substr(3));
        else if (line.starts_with("#! "))
            session.expectedStatus = std::stoi(line.substr(3));
    }
    return session;
}

// Numbers the UUIDs in the order in which they appear.
class UUIDNames {
public:
    std::string nameIn(const std::string& line)
    {
        static const std::regex uuid(
            "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
        std::string named;
        auto rest = line.begin();
        for (std::sregex_iterator match(line.begin(), line.end(), uuid), end; match != end;
             ++match) {
            named.append(rest, (*match)[0].first);
            named += "UUID " + std::to_string(number((*match)[0]));
            rest = (*match)[0].second;
        }
        return named.append(rest, line.end());
    }

private:
    std::size_t number(const std::string& uuid)
    {
        return m_numbers.emplace(uuid, m_numbers.size() + 1).first->second;
    }

    std::map<std::string, std::size_t> m_numbers;
};

std::vector<std::string> sessionNames()
{
    std::istringstream list(TELVORA_HOST_SESSIONS);
    std::vector<std::string> names;
    for (std::string name; std::getline(list, name, ',');)
        names.push_back(name);
    return names;
}

class HostSessionTest : public testing::TestWithParam<std::string> { };

} // namespace

TEST_P(HostSessionTest, PrintsTheLinesOfTheSession)
{
    const Session session
        = readSession(std::string(TELVORA_HOST_SESSION_FOLDER) + "/" + GetParam() + ".jsonl");
    ASSERT_FALSE(session.expectedLines.empty());

    const HostRun run = runSimulated(session.script);

    UUIDNames names;
    for (std::size_t index = 0; index < run.lines.size(); ++index) {
        const std::string line = names.nameIn(run.lines[index]);
        ASSERT_LT(index, session.expectedLines.size()) << "Unexpected line: " << line;
        ASSERT_EQ(line, session.expectedLines[index]) << "in line " << index + 1;
    }
    EXPECT_EQ(run.lines.size(), session.expectedLines.size());
    EXPECT_EQ(run.exitStatus(), session.expectedStatus) << run.diagnostics;
}

TEST_P(HostSessionTest, PrintsTheSameTwiceWithTheSameSeed)
{
    const Session session
        = readSession(std::string(TELVORA_HOST_SESSION_FOLDER) + "/" + GetParam() + ".jsonl");

    const HostRun once = runSimulated(session.script, "7");
    const HostRun again = runSimulated(session.script, "7");

    EXPECT_EQ(once.lines, again.lines);
    EXPECT_EQ(once.status, again.status);
}

INSTANTIATE_TEST_SUITE_P(Sessions, HostSessionTest, testing::ValuesIn(sessionNames()),
    [](const auto& name) { return name.param; });

} // namespace telvora::tests
