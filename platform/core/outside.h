// Events that come from outside, for the parts of the core that make them.
#pragma once

// Is a request to quit waiting in the queue? A second one adds nothing.
bool quit_is_queued();
