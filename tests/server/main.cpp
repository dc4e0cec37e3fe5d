// Lays out and judges a sample server from outside of the tests.

#include "server/sample_server.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>

namespace
{

const char *const usage =
    "usage: sample_server lay-out DIRECTORY [PROGRAM]            PROGRAM stands in for the generators\n"
    "       sample_server add DIRECTORY KIND COUNT [LOG]...      domains KIND000001.example and so on\n"
    "       sample_server bring DIRECTORY raw|prepared           more records\n"
    "       sample_server judge DIRECTORY                        what is wrong; the status is 1 if anything is\n"
    "KIND is none, webalizer or awstats. DIRECTORY is an absolute path.\n";

void add(const SampleServer &server, const std::string &kind, int count, std::vector<std::string> names)
{
    const Kind number = kind == "webalizer" ? Kind::webalizer : kind == "awstats" ? Kind::awstats : Kind::none;
    for (int i = 1; i <= count; ++i) {
        char suffix[32];
        std::snprintf(suffix, sizeof suffix, "%06d.example", i);
        server.addDomain(kind + suffix, number, names.empty() ? std::vector<std::string>{"access_log"} : names);
    }
}

int work(const std::vector<std::string> &words)
{
    const SampleServer server(words.at(1));
    if (words[0] == "lay-out") {
        words.size() > 2 ? server.layOut(words[2]) : server.layOut();
    } else if (words[0] == "add") {
        add(server, words.at(2), std::stoi(words.at(3)), {words.begin() + 4, words.end()});
    } else if (words[0] == "bring") {
        server.bringRecords(words.at(2) == "prepared");
    } else if (words[0] == "judge") {
        const Violations wrong = server.judge();
        std::for_each(wrong.begin(), wrong.end(), [](const std::string &text) { std::cout << text << '\n'; });
        return wrong.empty() ? 0 : 1;
    } else {
        throw std::out_of_range(words[0]);
    }
    return 0;
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
