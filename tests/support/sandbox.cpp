// Folders of a case's own.
#include "tests/support/sandbox.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

namespace fs = std::filesystem;

Sandbox::Sandbox(bool inMemory)
{
    const char *temp = std::getenv("TMPDIR");
    const std::string end = "/quillon-test-XXXXXX";
    std::string name = (temp ? temp : "/tmp") + end;
    std::string shared = "/dev/shm" + end;

    if (inMemory && mkdtemp(shared.data()))
        root = shared;
    else if (mkdtemp(name.data()))
        root = name;
    else
        abort();
    setenv("HOME", root.c_str(), 1);
    for (const char *v : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"})
        unsetenv(v);
}

Sandbox::~Sandbox()
{
    std::error_code ignored;
    // A case may have locked a folder of it.
    for (const auto &e : fs::directory_iterator(root, ignored))
        if (e.is_directory(ignored) && !e.is_symlink(ignored))
            fs::permissions(e, fs::perms::owner_all, fs::perm_options::add,
                            ignored);
    fs::remove_all(root, ignored);
}

static std::unique_ptr<Sandbox> ours;

Sandbox &sandbox()
{
    return ours ? *ours : fresh_sandbox();
}

Sandbox &fresh_sandbox(bool inMemory)
{
    ours = std::make_unique<Sandbox>(inMemory);
    return *ours;
}

std::string scratch_folder()
{
    return sandbox().root.string();
}

Place::Place()
{
    FSSpec spec;

    fs::create_directory(root / "work");
    (void)FSSpecFromPath((root / "work" / "x").c_str(), &spec);
    vRef = spec.vRefNum;
    dir = spec.parID;
}

fs::path Place::path(const std::string &name) const
{
    return root / "work" / name;
}

void Place::write(const std::string &name, const std::string &bytes) const
{
    write_bytes(path(name), bytes);
}

std::string Place::read(const std::string &name) const
{
    return read_bytes(path(name));
}

std::string read_bytes(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void write_bytes(const fs::path &path, const std::string &bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

void write_prefs(const Sandbox &at, const std::string &toml)
{
    fs::create_directories(at.root / ".config/quillon");
    write_bytes(at.root / ".config/quillon/prefs.toml", toml);
}

ConstStr P(const std::string &s)
{
    static uint8_t slots[8][256];
    static int turn;
    uint8_t *out = slots[turn++ % 8];

    out[0] = uint8_t(s.size());
    s.copy(reinterpret_cast<char *>(out + 1), s.size());
    return out;
}

std::string S(ConstStr s)
{
    return {reinterpret_cast<const char *>(s + 1), s[0]};
}
