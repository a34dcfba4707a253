// Playing an initialisation script against the HAL: each action goes to the operation that does it
// on the device it names, so every device-specific step of the HAL runs as it would in an embedded
// host. Routes that follow an INITRT are kept and stored as one table when the next action of
// another kind comes, or when the script ends.
#pragma once

#include "NVXLScript.h"

#include <QString>

#include <cstdint>
#include <vector>

// Reads a script of the script format: a keyword ("NOP", "SETDEST", "MAINTW", "ROUTE", "SPEED",
// "INITRT") and its Name:Value fields, each value by the number entry rule. Blank lines and "#"
// comment lines are passed over, and so are NOP lines. False at the first line that doesn't fit,
// with its number (from 1) in *piBadLine. pLines, when given, gets the line number of each action.
bool ParseInitScript(const QString& strText, std::vector<NVXL_SCRIPTCOMMANDSTRUCT>* pRecords, int* piBadLine,
                     std::vector<int>* pLines = nullptr);

// Plays the actions in order on local port 0; the first failure ends the play. Returns 0 or the
// client status of the failure, with the index of the failing action in *piFailed (-1 when none).
int32_t PlayScript(const std::vector<NVXL_SCRIPTCOMMANDSTRUCT>& records, int* piFailed);
