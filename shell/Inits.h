// Start-up and shut-down, in their fixed order, and the facts about the
// platform that are taken once.
//
// InitProgram leaves the program without a window. The first book that opens
// calls FinishInitFoneOpen, which makes the window, then opens the port, then
// applies the settings of the default entry: the port opens only after the
// window stands, and settings need the open port.
#pragma once

#include <cstdint>

#include "platform/types.h"

// Returns nonzero on success; it can't fail.
int InitProgram();

// 1 when window, port and settings stand; 0 when there was no memory, or the
// user gave up choosing a port.
int FinishInitFoneOpen();

// Saves the settings, lets the modem answer, closes port and windows.
void finish_up();

void MakeUPPs(); // registers the callbacks that controls and dialogs use

extern int32_t stTicks;       // TickCount at the start of InitProgram
extern uint16_t ti;           // next free stamp
extern uint16_t timing[20];   // ticks since stTicks at fixed points; unread
extern uint8_t gInitializing; // 1 until FinishInitFoneOpen is done

extern Str255 longvers;     // the version as people read it
extern Str255 ServiceName;  // name of the connection in use
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
