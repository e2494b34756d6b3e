// The program, standing.
#include "tests/support/running.h"

#include <cstdlib>

#include "platform/appleevents.h"
#include "platform/backend.h"
#include "platform/clock.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "terminal/VT100.h"

std::string make_place(bool inMemory)
{
    const char *why;
    int argc = 0;

    fresh_sandbox(inMemory);
    if (!be_start(&argc, nullptr, &why))
        abort();
    return scratch_folder();
}

std::string glob(int16_t index)
{
    Str255 s;
    GetGlob(index, s);
    return S(s);
}

std::string local(int16_t index)
{
    Str255 s;
    GetFromStrList(gLocalStrings, index, s);
    return S(s);
}

std::string all_messages()
{
    std::string all;
    for (const std::string &m : hl_messages())
        all += m + "\n";
    return all;
}

bool told(const std::string &words)
{
    return all_messages().find(words) != std::string::npos;
}

void start_program()
{
    ae_queue_start(nullptr, 0);
    if (!InitProgram())
        abort();
    run_ticks(30);
}

void run_ticks(uint32_t ticks)
{
    uint32_t end = TickCount() + ticks;
    while (moreToDo && int32_t(end - TickCount()) > 0) {
        if (!Suspended && myWindow)
            docursor();
        if (sIn)
            ReadPort();
        MainEventLoop(kAllEvents, myWindow ? kModeMain : kModeSmall);
    }
}

int run_program(uint32_t ticks, std::function<void()> act)
{
    ae_queue_start(nullptr, 0);
    if (act)
        hl_after(ticks, std::move(act));
    hl_after(ticks + 60, [] { hl_quit(); });
    return QuillonMain();
}
