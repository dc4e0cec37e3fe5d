// Lays out and judges a sample server from outside of the tests.

#include "server/sample_server.h"

#include <cstdio>
#include <exception>
#include <iostream>

namespace
{

const char *const usage =
    "usage: sample_server lay-out DIRECTORY [PROGRAM]        PROGRAM stands in for the generators\n"
    "       sample_server add DIRECTORY KIND COUNT [LOG]...  domains KIND000001.example and so on\n"
    "       sample_server bring DIRECTORY raw|prepared       more records\n"
    "       sample_server judge DIRECTORY                    what is wrong; the status is 1 if anything is\n"
    "KIND is none, webalizer or awstats. DIRECTORY is an absolute path.\n";

void add(const SampleServer &server, const std::string &kind, int count, const std::vector<std::string> &logs)
{
    const Kind number = kind == "webalizer" ? Kind::webalizer : kind == "awstats" ? Kind::awstats : Kind::none;
    for (int i = 1; i <= count; ++i) {
        char suffix[32];
        std::snprintf(suffix, sizeof suffix, "%06d.example", i);
        server.addDomain(kind + suffix, number, logs);
    }
}

int work(const std::vector<std::string> &words)
{
    const SampleServer server(words.at(1));
    Violations wrong;
    if (words[0] == "lay-out") {
        server.layOut(words.size() > 2 ? words[2] : STAND_IN);
    } else if (words[0] == "add") {
        const std::vector<std::string> logs(words.begin() + 4, words.end());
        add(server, words.at(2), std::stoi(words.at(3)), logs.empty() ? std::vector<std::string>{"access_log"} : logs);
    } else if (words[0] == "bring") {
        server.bringRecords(words.at(2) == "prepared");
    } else if (words[0] == "judge") {
        wrong = server.judge();
    } else {
        throw std::out_of_range(words[0]);
    }
    for (const std::string &text : wrong) {
        std::cout << text << '\n';
    }
    return wrong.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return work({argv + 1, argv + argc});
    } catch (const std::logic_error &) {
        std::cerr << usage;
    } catch (const std::exception &exception) {
        std::cerr << "sample_server: " << exception.what() << '\n';
    }
    return 2;
}
