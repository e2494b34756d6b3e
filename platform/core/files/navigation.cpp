// Asking the user: a question goes down to the back end, and the wait is
// turned until its answer has come up.
//
// Names and paths are bytes on our side. The dialogs speak UTF-8: a name that
// is valid UTF-8 goes down as it is, another one as Mac Roman.
#include "platform/navigation.h"

#include <string>
#include <vector>

#include "platform/core/core.h"
#include "platform/core/files/asking.h"
#include "platform/core/files/filesparts.h"
#include "platform/core/macroman.h"
#include "platform/core/outside.h"

// ---- waiting for the answer ------------------------------------------------

static Answer answer;
static bool answered;

void up_answer(bool ok, uint32_t value, const char *const *paths, int count)
{
    answer.ok = ok;
    answer.value = value;
    answer.paths.clear();
    for (int i = 0; i < count; i++)
        answer.paths.emplace_back(paths[i]);
    answered = true;
}

Answer ask_and_wait(const be_ask_info *info)
{
    answered = false;
    be_ask(info);
    wait_for_user(answered);
    return answer;
}

Answer ask_page_and_wait(bool setup, const be_page *start)
{
    answered = false;
    be_page_ask(setup, start);
    wait_for_user(answered);
    return answer;
}

// ---- texts -----------------------------------------------------------------

static std::string name_text(ConstStr s)
{
    constexpr char32_t kMalformed = 0xFFFD;
    if (!s)
        return {};
    std::string bytes = bytes_of(s);
    std::string_view rest(bytes);
    while (!rest.empty())
        if (utf8_next(rest) == kMalformed)
            return pstr_to_utf8(s);
    return bytes;
}

static Answer ask(be_ask_kind kind, ConstStr prompt, ConstStr name,
                  const char *folder)
{
    std::string promptText = prompt ? pstr_to_utf8(prompt) : "";
    std::string nameText = name_text(name);
    be_ask_info info = {kind, promptText.c_str(), nameText.c_str(), folder, 0};
    return ask_and_wait(&info);
}

// ---- the calls -------------------------------------------------------------

// A path that the dialog gave. The file of a save needn't be there.
static bool spec_of(const std::string &path, bool mustExist, FSSpec *out)
{
    FSSpec spec;
    OSErr err = FSSpecFromPath(path.c_str(), &spec);
    if (err != noErr && (mustExist || err != fnfErr))
        return false;
    *out = spec;
    return true;
}

bool NavGetFile(ConstStr prompt, FSSpec *out)
{
    Answer a = ask(BE_ASK_OPEN, prompt, nullptr, nullptr);
    return a.ok && !a.paths.empty() && spec_of(a.paths[0], true, out);
}

int NavGetFiles(ConstStr prompt, FSSpec *out, int max)
{
    Answer a = ask(BE_ASK_OPEN_MANY, prompt, nullptr, nullptr);
    int count = 0;
    for (size_t i = 0; a.ok && i < a.paths.size() && count < max; i++)
        count += spec_of(a.paths[i], true, &out[count]);
    return count;
}

bool NavPutFile(ConstStr prompt, ConstStr name, FSSpec *out)
{
    Answer a = ask(BE_ASK_SAVE, prompt, name, nullptr);
    return a.ok && !a.paths.empty() && spec_of(a.paths[0], false, out);
}

bool NavChooseFolder(ConstStr prompt, int16_t *vRef, int32_t *dirID)
{
    std::string start;
    bool known = folder_path(*vRef, *dirID, start) == noErr;
    Answer a =
        ask(BE_ASK_FOLDER, prompt, nullptr, known ? start.c_str() : nullptr);
    return a.ok && !a.paths.empty() &&
           folder_number(a.paths[0], vRef, dirID) == noErr;
}

bool NavCanAsk()
{
    return !nobody_to_ask();
}

int NavAskSaveChanges(ConstStr document)
{
    if (nobody_to_ask())
        return kNavSave;
    Answer a = ask(BE_ASK_SAVE_CHANGES, nullptr, document, nullptr);
    if (!a.ok || a.value < kNavSave || a.value > kNavCancel)
        return kNavCancel;
    return int(a.value);
}
