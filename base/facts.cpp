// The facts about the platform and the program's places.
#include "base/facts.h"

int16_t sysVers, macType, theKeyBoard;
uint8_t newKbd;
uint8_t gColorQD, gHaveHFS, gHaveNav, gHaveAppearance;
int16_t gAppearanceVer;
uint8_t havePop, haveScript, WNEIsImplemented = 1;
int16_t gScriptCount;
int16_t sv_kchr, sv_sicn, our_kchr;
uint16_t ourPort;
Point gUnityPoint;

int16_t gSysVRefNum;
int32_t gSysFolderDirID;
int16_t gAuxFilesVRef;
int32_t gAuxFilesDirID;
int16_t gUserDownloadsVRef;
int32_t gUserDownloadsDirID;
uint8_t gHaveUserDLFolder;
int16_t pgmVolRef, pgmVRef;
int32_t pgmDir;
int32_t gPrefFolderDomain;
