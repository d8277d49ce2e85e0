#include "Clip/Read/AssertionCapture.h"

namespace Nimb::Authoring {
namespace {

thread_local std::string* t_Text = nullptr;

void Keep(const Nimb::AssertionInfo& info) {
    if (t_Text != nullptr && t_Text->empty()) {
        *t_Text = info.text;
    }
}

}  // namespace

AssertionCapture::AssertionCapture() : m_Before(Nimb::SetAssertionSink(&Keep)) {
    t_Text = &m_Text;
}

AssertionCapture::~AssertionCapture() {
    t_Text = nullptr;
    Nimb::SetAssertionSink(m_Before);
}

}  // namespace Nimb::Authoring
