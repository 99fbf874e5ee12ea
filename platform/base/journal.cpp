#include "platform/base/journal.hpp"

#include <cstdarg>
#include <cstring>
#include <utility>

#include "platform/base/render.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"

namespace vxhost {
namespace {

std::u32string_view templateText(const char32_t* text, uint64_t length) {
    return length != 0 ? std::u32string_view(text, length) : std::u32string_view(text);
}

vx::Status fillBuffer(std::string_view text, vx::Word buffer, vx::Word capacity,
                      vx::Word produced) {
    const std::u32string wide = shownUtf32(text);
    *reinterpret_cast<uint64_t*>(produced) = wide.size();
    if (wide.size() >= capacity) return vx::VX_BUFFER_TOO_SMALL;
    std::memcpy(reinterpret_cast<void*>(buffer), wide.c_str(),
                (wide.size() + 1) * sizeof(char32_t));
    return vx::VX_SUCCESS;
}

// The sentences are English, whatever the person's locale.
vx::Word localeOfTexts(vx::Journal*, ...) noexcept {
    return static_cast<vx::Word>(reinterpret_cast<uintptr_t>("en_US.UTF-8"));
}

void message(vx::Journal* journal, uint32_t severity, const char32_t* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    journal->MessageToJournal(journal, severity, text, 0, arguments);
    va_end(arguments);
}

}  // namespace

UserJournal::UserJournal() {
    fillSlots<vx::Journal>(*this);
    MessageToJournal = [](vx::Journal* self, uint32_t severity, const char32_t* text,
                          uint64_t length, va_list arguments) noexcept {
        return guarded(vx::VX_NO_MEMORY, [&] {
            static_cast<UserJournal*>(self)->write(
                severity, renderTemplate(templateText(text, length), arguments));
            return vx::VX_SUCCESS;
        });
    };
    StatusToJournal = [](vx::Journal* self, uint32_t severity, int64_t status, va_list) noexcept {
        return guarded(vx::VX_NO_MEMORY, [&] {
            static_cast<UserJournal*>(self)->write(severity,
                                                   statusText(static_cast<vx::Status>(status)));
            return vx::VX_SUCCESS;
        });
    };
    MessageToBuffer = [](vx::Journal*, vx::Word text, vx::Word length, vx::Word buffer,
                         vx::Word capacity, vx::Word produced, va_list arguments) noexcept {
        return guarded(vx::VX_NO_MEMORY, [&] {
            const auto* wide = reinterpret_cast<const char32_t*>(text);
            return fillBuffer(renderTemplate(templateText(wide, length), arguments), buffer,
                              capacity, produced);
        });
    };
    StatusToBuffer = [](vx::Journal*, int64_t status, vx::Word buffer, vx::Word capacity,
                        vx::Word produced, va_list) noexcept {
        return guarded(vx::VX_NO_MEMORY, [&] {
            return fillBuffer(statusText(static_cast<vx::Status>(status)), buffer, capacity,
                              produced);
        });
    };
    GetLocale = localeOfTexts;
}

void UserJournal::write(uint32_t severity, std::string text) {
    sentences_.push_back({severity, std::move(text)});
}

std::vector<Sentence> UserJournal::take() {
    return std::exchange(sentences_, {});
}

void journalSentence(vx::Journal* journal, uint32_t severity, std::string_view text) noexcept {
    if (journal == nullptr) return;
    guarded(vx::VX_NO_MEMORY, [&] {
        message(journal, severity, U"%s", shownUtf32(text).c_str());
        return vx::VX_SUCCESS;
    });
}

}  // namespace vxhost
