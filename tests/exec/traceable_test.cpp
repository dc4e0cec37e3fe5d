#include "exec/traceable.h"
#include "support.h"

#include <cstdio>

namespace
{

const korvo::ExKind outer_kind = {"Outer", "%1% and %2%", 7};
const korvo::ExKind inner_kind = {"Inner", "cause", 8};
using Outer = korvo::Exc<&outer_kind, korvo::ExDefault>;
using Inner = korvo::Exc<&inner_kind, korvo::ExDefault>;

// Notes the calls, with ids as "id".
class Recorder : public korvo::ExVisitor
{
public:
    void onName(const std::string &name) override { note("name " + name); }
    void onId(const std::string &id) override
    {
        ids.push_back(id);
        note("id");
    }
    void onMessage(const std::string &message) override { note("message " + message); }
    void onFunction(const std::string &function) override { note("function " + function); }
    void onFile(const std::string &file) override { note("file " + file); }
    void onLine(int line) override { note("line " + std::to_string(line)); }
    void onIncluded() override { note("included"); }
    void onCode(int code) override { note("code " + std::to_string(code)); }

    std::string calls;
    std::vector<std::string> ids;

private:
    void note(const std::string &call) { calls += call + "; "; }
};

Outer make_outer()
{
    Outer exception("void f()", "f.cpp", 12);
    exception.feed("one");
    exception.feed(2);
    return exception;
}

std::string id_of(const korvo::ExVisitable &exception)
{
    Recorder recorder;
    exception.visit(recorder);
    return recorder.ids.at(0);
}

} // namespace

TEST(Traceable, AVisitorSeesEverythingInOrder)
{
    Outer outer = make_outer();
    const std::string own = "function void f(); file f.cpp; line 12; name Outer; id; code 7; "
                            "message one and 2; ";
    Recorder alone;
    outer.visit(alone);
    EXPECT_EQ(alone.calls, own);

    outer.include(Inner("int g()", "g.cpp", 3));
    const Outer copy = outer;
    Recorder both;
    copy.visit(both);
    EXPECT_EQ(both.calls, own + "included; function int g(); file g.cpp; line 3; name Inner; id; "
                                "code 8; message cause; ");
}

TEST(Traceable, ACloneIsTheSameException)
{
    Outer outer = make_outer();
    outer.include(Inner("int g()", "g.cpp", 3));
    const std::unique_ptr<korvo::IExTraceable> clone(outer.clone());
    EXPECT_NE(dynamic_cast<const Outer *>(clone.get()), nullptr);
    EXPECT_STREQ(clone->what(), "one and 2");
    EXPECT_STREQ(clone->what(), outer.what());
    EXPECT_EQ(clone->code(), 7);
    Recorder ours;
    Recorder theirs;
    outer.visit(ours);
    clone->visit(theirs);
    EXPECT_EQ(ours.calls, theirs.calls);
    EXPECT_EQ(ours.ids, theirs.ids);
}

TEST(Traceable, IdsDifferWithinAProcessAndRepeatInTheNext)
{
    const auto print_ids = [] {
        for (int i = 0; i < 3; ++i) {
            std::puts(id_of(make_outer()).c_str());
        }
    };
    const std::string ids = in_child(print_ids).out;
    EXPECT_EQ(ids.size(), 3U * 37);
    EXPECT_EQ(in_child(print_ids).out, ids);
    EXPECT_NE(ids.substr(0, 36), ids.substr(37, 36));
    for (std::size_t i = 0; i < 36; ++i) {
        const char pattern = "xxxxxxxx-xxxx-4xxx-8xxx-xxxxxxxxxxxx"[i];
        const bool fits = pattern == 'x'
                              ? std::string("0123456789abcdef").find(ids[i]) != std::string::npos
                              : ids[i] == pattern;
        EXPECT_TRUE(fits) << ids;
    }
}
