#include "exec/ExecCmd.h"
#include "exec/traceable.h"
#include "support.h"

#include <regex>

namespace
{

const korvo::ExKind outer_kind = {"Outer", "%1% and %2%", 7};
const korvo::ExKind inner_kind = {"Inner", "cause", 8};
using Outer = korvo::Exc<&outer_kind, korvo::ExDefault>;
using Inner = korvo::Exc<&inner_kind, korvo::ExDefault>;

// Notes the calls.
class Recorder : public korvo::ExVisitor
{
public:
    void onName(const std::string &name) override { calls += "name " + name + "; "; }
    void onId(const std::string &id) override { calls += "id " + id + "; "; }
    void onMessage(const std::string &message) override { calls += "message " + message + "; "; }
    void onFunction(const std::string &function) override { calls += "function " + function + "; "; }
    void onFile(const std::string &file) override { calls += "file " + file + "; "; }
    void onLine(int line) override { calls += "line " + std::to_string(line) + "; "; }
    void onIncluded() override { calls += "included; "; }
    void onCode(int code) override { calls += "code " + std::to_string(code) + "; "; }

    std::string calls;
};

std::string calls_of(const korvo::ExVisitable &exception)
{
    Recorder recorder;
    exception.visit(recorder);
    return recorder.calls;
}

Outer make_outer()
{
    Outer exception("void f()", "f.cpp", 12);
    exception.feed("one");
    exception.feed(2);
    exception.include(Inner("int g()", "g.cpp", 3));
    return exception;
}

} // namespace

TEST(Traceable, AVisitorOfACopySeesEverythingInOrder)
{
    const Outer outer = make_outer();
    const std::string calls = calls_of(*std::unique_ptr<korvo::IExTraceable>(outer.clone()));
    EXPECT_EQ(calls, calls_of(outer));
    const std::regex id("id [0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-8[0-9a-f]{3}-[0-9a-f]{12};");
    EXPECT_EQ(std::regex_replace(calls, id, "id;"),
              "function void f(); file f.cpp; line 12; name Outer; id; code 7; message one and 2; "
              "included; function int g(); file g.cpp; line 3; name Inner; id; code 8; message cause; ");
    try {
        korvo::ExecCmd("false").run();
        ADD_FAILURE() << "not thrown";
    } catch (const korvo::ExecCmd::ExFailed &failure) {
        EXPECT_EQ(calls_of(failure).find("function void korvo::ExecCmd::reportError() const; file ExecCmd.cpp; "
                                         "line 64; name ExecCmd::ExFailed; id "),
                  0U);
    }
}

TEST(Traceable, IdsDifferWithinAProcessAndRepeatInTheNext)
{
    const auto print_ids = [] {
        std::printf("%s %s", korvo::newExceptionId().c_str(), korvo::newExceptionId().c_str());
    };
    const std::string ids = in_child(print_ids).out;
    EXPECT_EQ(in_child(print_ids).out, ids);
    EXPECT_NE(ids.substr(37), ids.substr(0, 36));
}
