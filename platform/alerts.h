// Alerts: a text with up to three buttons that must be answered first.
#pragma once

#include "platform/dialogs.h"

// From alert resource `id`, with the ParamText of the moment. Returns the
// item hit: 1 for the default button. -1 when there is no such resource.
int16_t Alert(int16_t id);
int16_t StopAlert(int16_t id);
int16_t CautionAlert(int16_t id);
