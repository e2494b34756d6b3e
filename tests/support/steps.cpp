// Cases as sentences.
#include "tests/support/steps.h"

#include <sstream>
#include <utility>

std::string play(const std::string &steps,
                 const std::function<std::string(const Words &)> &act)
{
    std::string all;

    for (size_t at = 0, end; at < steps.size(); at = end + 2) {
        end = std::min(steps.find("; ", at), steps.size());
        std::string step = steps.substr(at, end - at);
        step = step.substr(0, std::min(step.find(" = "), step.find(" ! ")));
        std::istringstream in(step);
        Words words;
        for (std::string word; std::getline(in, word, ' ');)
            words.push_back(word);
        words.resize(std::max(words.size(), size_t(5)));
        all += (at ? "; " : "") + step + act(words);
    }
    return all;
}

std::string error_words(OSErr err)
{
    static const std::pair<OSErr, const char *> names[] = {
        {noErr, ""},
        {bdNamErr, " ! bdNamErr"},
        {eofErr, " ! eofErr"},
        {posErr, " ! posErr"},
        {fnfErr, " ! fnfErr"},
        {fLckdErr, " ! fLckdErr"},
        {fBsyErr, " ! fBsyErr"},
        {dupFNErr, " ! dupFNErr"},
        {opWrErr, " ! opWrErr"},
        {paramErr, " ! paramErr"},
        {rfNumErr, " ! rfNumErr"},
        {permErr, " ! permErr"},
        {wrPermErr, " ! wrPermErr"},
        {dirNFErr, " ! dirNFErr"},
        {resNotFound, " ! resNotFound"},
        {addResFailed, " ! addResFailed"},
        {mapReadErr, " ! mapReadErr"}};

    for (const auto &[number, words] : names) {
        if (number == err)
            return words;
    }
    return " ! " + std::to_string(err);
}

std::string type_words(OSType type)
{
    return {char(type >> 24), char(type >> 16), char(type >> 8), char(type)};
}

OSType type_of(const std::string &four)
{
    OSType type = 0;

    for (char c : four)
        type = type << 8 | uint8_t(c);
    return type;
}
