// The facts about the platform and the program's places, taken once at the
// start (shell/Inits) and constant from then on.
#pragma once

#include "platform/types.h"

#include <cstdint>

extern int16_t sysVers;     // platform's version, BCD: 0x1000 and up
extern int16_t macType;     // fixed
extern int16_t theKeyBoard; // keyboard kind
extern uint8_t newKbd;      // keyboard with a Control key
extern uint8_t gColorQD;    // windows have RGB colour
extern uint8_t gHaveHFS;
extern uint8_t gHaveNav;        // file dialogs of the platform
extern uint8_t gHaveAppearance; // native controls, live scrolling
extern int16_t gAppearanceVer;
extern uint8_t havePop;    // pop-up menus
extern uint8_t haveScript; // text of variable width can be measured
extern uint8_t WNEIsImplemented;
extern int16_t gScriptCount;               // script systems, at least 1
extern int16_t sv_kchr, sv_sicn, our_kchr; // keyboard layouts
extern uint16_t ourPort;                   // port number of old settings
extern Point gUnityPoint;                  // (1,1), scale for measuring text

// Folders by volume and number.
extern int16_t gSysVRefNum; // preferences
extern int32_t gSysFolderDirID;
extern int16_t gAuxFilesVRef; // sounds, scripts and other companions
extern int32_t gAuxFilesDirID;
extern int16_t gUserDownloadsVRef;
extern int32_t gUserDownloadsDirID;
extern uint8_t gHaveUserDLFolder;
extern int16_t pgmVolRef, pgmVRef; // where the program lies
extern int32_t pgmDir;
extern int32_t gPrefFolderDomain;
