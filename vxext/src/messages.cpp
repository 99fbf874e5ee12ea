#include "vxext/src/messages.hpp"

using namespace vx;

extern "C" {

RenderedMessage* LoggerRender(Logger* logger, const char32_t* text, uint64_t length, ...) {
    va_list arguments;
    va_start(arguments, length);
    RenderedMessage* message = logger->table->Render(logger, 0, text, length, arguments);
    va_end(arguments);
    return message;
}

RenderedMessage* LoggerCapture(Logger* logger, int32_t number, ...) {
    va_list arguments;
    va_start(arguments, number);
    RenderedMessage* message = logger->table->RenderNumbered(logger, number, arguments);
    va_end(arguments);
    return message;
}

Status vxlMessageToJnl(Journal* journal, uint32_t severity, const char32_t* text, uint64_t length,
                       ...) {
    va_list arguments;
    va_start(arguments, length);
    Status status = journal->MessageToJournal(journal, severity, text, length, arguments);
    va_end(arguments);
    return status;
}

Status vxlStatusToJnl(Journal* journal, uint32_t severity, Status code, ...) {
    va_list arguments;
    va_start(arguments, code);
    Status status = journal->StatusToJournal(journal, severity, int32_t(code), arguments);
    va_end(arguments);
    return status;
}

Status vxlMessageToBuf(Journal* journal, Word first, Word second, Word third, Word fourth,
                       Word fifth, ...) {
    va_list arguments;
    va_start(arguments, fifth);
    Status status =
        journal->MessageToBuffer(journal, first, second, third, fourth, fifth, arguments);
    va_end(arguments);
    return status;
}

Status vxlStatusToBuf(Journal* journal, Status code, Word first, Word second, Word third, ...) {
    va_list arguments;
    va_start(arguments, third);
    Status status =
        journal->StatusToBuffer(journal, int32_t(code), first, second, third, arguments);
    va_end(arguments);
    return status;
}

}  // extern "C"

// No C++ function can pass on arguments that it does not know: vxlGetLocale is a jump to slot 0x60.
#if defined(__x86_64__)
#define QUILLON_JUMP "endbr64\n jmp *0x60(%rdi)\n"
#elif defined(__aarch64__)
#define QUILLON_JUMP "hint #34\n ldr x16, [x0, #0x60]\n br x16\n"  // hint #34 is bti c
#else
#error "vxlGetLocale needs its jump for this processor"
#endif

asm(".pushsection .text\n"
    ".balign 16\n"
    ".globl vxlGetLocale\n"
    ".type vxlGetLocale, %function\n"
    "vxlGetLocale:\n" QUILLON_JUMP
    ".size vxlGetLocale, . - vxlGetLocale\n"
    ".popsection\n");
