#include "ServiceAnswer.h"

#include "Binding.h"
#include "Bounded.h"
#include "FPStub.h"
#include "SehGuard.h"

namespace {

ServiceAnswer Ask()
{
    ServiceAnswer answer{};
    BindFPService();
    const SehResult asked = Guarded([&] {
        CallStub(Stub_Probe);
        answer.pbaEnabled = CallStub(Stub_IsPbaEnable);
    });
    if (asked.raised) {
        answer.kind = ServiceAnswer::Kind::Raised;
        answer.code = asked.code;
    } else {
        long result = -1;
        long value = 0;
        const SehResult listed =
            Guarded([&] { result = CallStub(Stub_ListEnroll, nullptr, &value, &answer.enrolled); });
        answer.counted = !listed.raised && result == 0;
    }
    UnbindFPService();
    return answer;
}

} // namespace

ServiceAnswer AskService(DWORD milliseconds)
{
    return CallBounded(milliseconds, Ask)
        .value_or(ServiceAnswer{ServiceAnswer::Kind::Silent, 0, 0, false, 0});
}
