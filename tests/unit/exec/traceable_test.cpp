#include "exec/traceable.h"
#include "support.h"

#include <regex>

TEST(Traceable, AVisitorOfACopySeesEverythingInOrder)
{
    static const korvo::ExKind outer_kind = {"Outer", "%1% and %2%", 7};
    static const korvo::ExKind inner_kind = {"Inner", "cause", 8};
    struct Recorder : public korvo::ExVisitor {
        void onName(const std::string &name) override { calls += "name " + name + "; "; }
        void onId(const std::string &id) override { calls += "id " + id + "; "; }
        void onMessage(const std::string &message) override { calls += "message " + message + "; "; }
        void onFunction(const std::string &function) override { calls += "function " + function + "; "; }
        void onFile(const std::string &file) override { calls += "file " + file + "; "; }
        void onLine(int line) override { calls += "line " + std::to_string(line) + "; "; }
        void onIncluded() override { calls += "included; "; }
        void onCode(int code) override { calls += "code " + std::to_string(code) + "; "; }
        std::string calls;
    } recorder;
    korvo::Exc<&outer_kind, korvo::ExDefault> outer("void f()", "f.cpp", 12);
    outer.feed("one");
    outer.feed(2);
    outer.include(korvo::Exc<&inner_kind, korvo::ExDefault>("int g()", "g.cpp", 3));
    std::unique_ptr<korvo::IExTraceable>(outer.clone())->visit(recorder);
    const std::regex id("id [0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-8[0-9a-f]{3}-[0-9a-f]{12};");
    EXPECT_EQ(std::regex_replace(recorder.calls, id, "id;"),
              "function void f(); file f.cpp; line 12; name Outer; id; code 7; message one and 2; "
              "included; function int g(); file g.cpp; line 3; name Inner; id; code 8; message cause; ");
    EXPECT_NE(korvo::newExceptionId(), korvo::newExceptionId());
}
