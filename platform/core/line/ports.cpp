// Which serial ports there are, by the kernel's own lists, and why one can't
// be opened. No port is opened to find out: that would raise its lines.
#include "platform/core/line/portparts.h"

#include "platform/core/macroman.h"
#include "platform/resources.h"
#include "resources/names.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <grp.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

void port_text(int16_t index, Str255 out)
{
    GetIndString(out, kListPorts, index);
}

// Length-prefixed text by parts; what passes 255 bytes is cut.
static void add(uint8_t *to, ConstStr more)
{
    int n = std::min(int(more[0]), 255 - to[0]);
    memcpy(to + 1 + to[0], more + 1, size_t(n));
    to[0] = uint8_t(to[0] + n);
}

static void add(uint8_t *to, const std::string &utf8)
{
    std::string bytes = utf8_to_macroman(utf8);
    uint8_t text[256];
    text[0] = uint8_t(std::min<size_t>(bytes.size(), 255));
    memcpy(text + 1, bytes.data(), text[0]);
    add(to, text);
}

static void add_text(uint8_t *to, int16_t index)
{
    Str255 text;
    port_text(index, text);
    add(to, text);
}

// ---- the kernel's lists ----------------------------------------------------

static std::vector<std::string> names_in(const std::string &folder)
{
    std::vector<std::string> names;
    DIR *d = opendir(folder.c_str());

    if (!d)
        return names;
    while (dirent *e = readdir(d)) {
        if (e->d_name[0] != '.')
            names.push_back(e->d_name);
    }
    closedir(d);
    return names;
}

static std::string first_line(const std::string &file)
{
    char buf[256];
    FILE *f = fopen(file.c_str(), "re");

    if (!f)
        return "";
    std::string line = fgets(buf, sizeof buf, f) ? buf : "";
    fclose(f);
    while (!line.empty() && isspace((unsigned char)line.back()))
        line.pop_back();
    return line;
}

static std::string real_path(const std::string &path)
{
    char *p = realpath(path.c_str(), nullptr);
    std::string out = p ? p : "";
    free(p);
    return out;
}

// What the device calls itself, from the first one upwards that has a name.
static std::string product_of(const std::string &root, const std::string &entry)
{
    std::string dir = real_path(entry + "/device");
    std::string top = real_path(root + "/sys/devices");

    while (!top.empty() && dir.size() > top.size() &&
           dir.compare(0, top.size(), top) == 0) {
        std::string product = first_line(dir + "/product");
        if (!product.empty())
            return product;
        dir.erase(dir.rfind('/'));
    }
    return "";
}

// "ttyUSB12" is "ttyUSB" and 12.
static void split(const std::string &name, std::string *stem, long *number)
{
    size_t end = name.size();
    while (end > 0 && isdigit((unsigned char)name[end - 1]))
        end--;
    *stem = name.substr(0, end);
    *number = end < name.size() ? strtol(name.c_str() + end, nullptr, 10) : -1;
}

// A terminal device with hardware behind it. The kernel makes a row of ttyS
// entries whether or not there are chips: their type is then 0, or can't be
// read where the system shows only a part of itself.
static bool is_real(const std::string &root, const std::string &name)
{
    std::string entry = root + "/sys/class/tty/" + name;
    std::string type = first_line(entry + "/type");
    struct stat s;

    if (stat((entry + "/device").c_str(), &s) != 0 ||
        stat((root + "/dev/" + name).c_str(), &s) != 0)
        return false;
    return type != "0" && (name.rfind("ttyS", 0) != 0 || !type.empty());
}

// Where a port stands in the list. What has been plugged in is what somebody
// is about to use, so USB comes before the machine's own ports.
struct listed_port {
    bool fixed; // not USB
    std::string stem;
    long number;
    std::string name;

    auto operator<=>(const listed_port &) const = default;
};

static listed_port listed(const std::string &root, const std::string &name)
{
    std::string device = real_path(root + "/sys/class/tty/" + name + "/device");
    listed_port p;

    p.fixed = device.find("/usb") == std::string::npos;
    split(name, &p.stem, &p.number);
    p.name = name;
    return p;
}

// The name under which the same device comes back wherever it is plugged in.
static std::string by_id(const std::string &root, const std::string &device)
{
    std::string folder = root + "/dev/serial/by-id";
    std::vector<std::string> links = names_in(folder);
    std::string target = real_path(device);

    std::sort(links.begin(), links.end());
    for (const std::string &l : links) {
        if (!target.empty() && real_path(folder + "/" + l) == target)
            return folder + "/" + l;
    }
    return "";
}

static void describe(const std::string &root, const std::string &name,
                     PortEntry *out)
{
    std::string entry = root + "/sys/class/tty/" + name;
    std::string device = root + "/dev/" + name;
    std::string lasting = by_id(root, device);
    std::string product = product_of(root, entry);
    std::string stem;
    long number;

    // A length-prefixed path holds 255 bytes.
    if (!lasting.empty() && lasting.size() <= 255)
        device = lasting;
    snprintf(out->path, sizeof out->path, "%s", device.c_str());

    split(name, &stem, &number);
    out->name[0] = 0;
    if (!product.empty()) {
        add(out->name, product);
    } else if (stem == "ttyS" && number >= 0) {
        add_text(out->name, kStrPortNumbered);
        add(out->name, std::to_string(number + 1));
    } else if (stem == "rfcomm") {
        add_text(out->name, kStrPortBluetooth);
    } else if (stem == "ttyUSB" || stem == "ttyACM") {
        add_text(out->name, kStrPortUSB);
    } else {
        add_text(out->name, kStrPortPlain);
    }
    // Names stand in the settings and tell ports apart, so the device's own
    // is always there.
    std::string own = " (" + name.substr(0, 64) + ")";
    out->name[0] = uint8_t(std::min<size_t>(out->name[0], 255 - own.size()));
    add(out->name, own);
}

int port_list_under(const char *root, PortEntry *out, int max)
{
    std::vector<listed_port> places;
    int count = 0;

    for (const std::string &n :
         names_in(std::string(root) + "/sys/class/tty")) {
        if (is_real(root, n))
            places.push_back(listed(root, n));
    }
    std::sort(places.begin(), places.end());
    for (const listed_port &p : places) {
        if (count >= max - 1)
            break; // the last place is the demo host's
        describe(root, p.name, &out[count++]);
    }
    if (count < max) {
        out[count].name[0] = 0;
        add_text(out[count].name, kStrPortDemo);
        snprintf(out[count].path, sizeof out[count].path, "%s", kDemoPath);
        count++;
    }
    return count;
}

int port_list(PortEntry *out, int max)
{
    return port_list_under("", out, max);
}

bool port_present(const char *path)
{
    struct stat s;

    if (strcmp(path, kDemoPath) == 0)
        return true;
    return stat(path, &s) == 0 && S_ISCHR(s.st_mode);
}

// ---- why not ---------------------------------------------------------------

// The program that has the device open, as far as we may look.
static std::string holder_of(const char *path)
{
    std::string target = real_path(path);

    for (const std::string &pid : names_in("/proc")) {
        if (!isdigit((unsigned char)pid[0]) || atol(pid.c_str()) == getpid())
            continue;
        std::string fds = "/proc/" + pid + "/fd";
        for (const std::string &fd : names_in(fds)) {
            char link[PATH_MAX];
            ssize_t n =
                readlink((fds + "/" + fd).c_str(), link, sizeof link - 1);
            if (n > 0 && target == std::string(link, size_t(n)))
                return first_line("/proc/" + pid + "/comm") + " (" + pid + ")";
        }
    }
    return "";
}

void port_why(const char *path, int error, Str255 out)
{
    struct stat s;
    std::string who;

    out[0] = 0;
    switch (error) {
    case EACCES:
    case EPERM:
        if (stat(path, &s) != 0)
            return;
        if (group *g = getgrgid(s.st_gid); g && s.st_gid != 0) {
            add_text(out, kStrPortGroup);
            add(out, std::string(g->gr_name));
            add_text(out, kStrPortToJoin);
            add(out, std::string(g->gr_name));
            add_text(out, kStrPortLogIn);
        }
        return;
    case EBUSY:
        who = holder_of(path);
        if (who.empty()) {
            add_text(out, kStrPortUsed);
        } else {
            add_text(out, kStrPortUsedBy);
            add(out, who + ".");
        }
        return;
    case ENOENT:
        if (path[0] == 0)
            add_text(out, kStrPortNone);
        else
            add_text(out, strcmp(path, kDemoPath) ? kStrPortUnplugged
                                                  : kStrPortNoDemo);
        return;
    case ENXIO:
    case ENODEV:
    case EIO:
        add_text(out, kStrPortUnplugged);
        return;
    case ENOTTY:
        add_text(out, kStrPortNotSerial);
        return;
    default:
        return;
    }
}
