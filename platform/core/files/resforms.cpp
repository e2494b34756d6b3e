// The one way from a resource to a reader of its form.
#include "platform/core/files/resforms.h"

#include "platform/memory.h"
#include "platform/resources.h"

// The bytes are copied: reading one form may load another (a submenu), and a
// handle's block may move then.
ResReader read_form(OSType type, int16_t id, std::vector<uint8_t> *bytes)
{
    Handle h = GetResource(type, id);

    if (h)
        bytes->assign(*h, *h + GetHandleSize(h));
    return {bytes->data(), bytes->data() + bytes->size(), h != nullptr};
}
