// Lays out a sample server from outside of the tests, below an absolute path: PROGRAM stands in for the generators, KIND
// is none, webalizer or awstats.

#include "server/sample_server.h"

#include <cstdio>
#include <iostream>

namespace
{

const char *const usage = "usage: sample_server lay-out DIRECTORY [PROGRAM] | add DIRECTORY KIND COUNT [LOG]... | "
                          "bring DIRECTORY raw|prepared\n";

void add(const SampleServer &server, const std::string &kind, int count, const std::vector<std::string> &logs)
{
    const Kind number = kind == "webalizer" ? Kind::webalizer : kind == "awstats" ? Kind::awstats : Kind::none;
    for (int i = 1; i <= count; ++i) {
        char suffix[32];
        std::snprintf(suffix, sizeof suffix, "%06d.example", i);
        server.addDomain(kind + suffix, number, logs.empty() ? std::vector<std::string>{"access_log"} : logs);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    const std::string command = words.size() < 2 ? "" : words[0];
    if (command == "lay-out") {
        SampleServer(words[1]).layOut(words.size() > 2 ? words[2] : STAND_IN);
    } else if (command == "add" && words.size() > 3) {
        add(SampleServer(words[1]), words[2], std::stoi(words[3]), {words.begin() + 4, words.end()});
    } else if (command == "bring" && words.size() > 2) {
        SampleServer(words[1]).bringRecords(words[2] == "prepared");
    } else {
        std::cerr << usage;
        return 2;
    }
    return 0;
}
