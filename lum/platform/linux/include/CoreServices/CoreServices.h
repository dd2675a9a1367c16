/* Core services, as far as the extension uses them: system version, waiting, file references, Apple event records. */
#ifndef LUM_PLATFORM_LINUX_CORESERVICES_H
#define LUM_PLATFORM_LINUX_CORESERVICES_H

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

/* --- System version --- */

enum {
    gestaltSystemVersion = 0x73797376, /* 'sysv' */
    gestaltUndefSelectorErr = -5551,
};

/* 'sysv' gives the system version as a BCD number: 0x1068 is 10.6.8. On failure `response` is untouched. */
OSErr Gestalt(OSType selector, SInt32 *response);

/* --- Waiting --- */

/* Sleeps for `numTicks` sixtieths of a second. `finalTicks`, which may be null, gets the ticks since the system was
 * started. */
void Delay(unsigned long numTicks, unsigned long *finalTicks);

/* --- File references ---
 *
 * A reference stands for a path. It is a plain value, needs no release, and stays valid when the file goes away: calls
 * that look at the file then fail. A reference filled with zeros stands for nothing; calls refuse it with paramErr.
 * An alias is a symbolic link; no call follows one that is the last component. */

typedef struct FSRef {
    UInt8 hidden[80];
} FSRef;
typedef FSRef *FSRefPtr;

typedef struct OpaqueFSIterator *FSIterator;
typedef UInt32 FSIteratorFlags;
typedef UInt32 FSCatalogInfoBitmap;
typedef struct FSCatalogInfo FSCatalogInfo; /* not given by this system */
typedef struct FSSpec *FSSpecPtr;           /* not given by this system */
typedef struct HFSUniStr255 HFSUniStr255;   /* not given by this system */

enum { kFSIterateFlat = 0 };
enum { kFSCatInfoNone = 0 };
enum {
    errFSNotAFolder = -1407,
    errFSNoMoreItems = -1417,
    errFSBadIteratorFlags = -1422,
    pathTooLongErr = -2110,
};

/* A relative path counts from the current folder. `isDirectory` may be null. fnfErr when nothing is there. */
OSStatus FSPathMakeRef(const UInt8 *path, FSRef *ref, Boolean *isDirectory);
/* The absolute path, with NUL, in at most `pathSize` bytes; pathTooLongErr when it does not fit. */
OSStatus FSRefMakePath(const FSRef *ref, UInt8 *path, UInt32 pathSize);
OSErr FSIsAliasFile(const FSRef *ref, Boolean *aliasFileFlag, Boolean *folderFlag);

/* Walks through the items of a folder as it was when it was opened, sorted by name without regard to (ASCII) case;
 * names that differ in case only follow one another in byte order. Only kFSIterateFlat. The caller closes. */
OSErr FSOpenIterator(const FSRef *container, FSIteratorFlags iteratorFlags, FSIterator *iterator);
/* The next `maximumObjects` items at most. errFSNoMoreItems says that this call reached the end of the folder; it may
 * have given items all the same. `containerChanged`, which may be null, says whether the folder was changed since it
 * was opened. Only kFSCatInfoNone; `catalogInfos`, `specs` and `names` must be null. */
OSErr FSGetCatalogInfoBulk(FSIterator iterator, ItemCount maximumObjects, ItemCount *actualObjects,
                           Boolean *containerChanged, FSCatalogInfoBitmap whichInfo, FSCatalogInfo *catalogInfos,
                           FSRef *refs, FSSpecPtr specs, HFSUniStr255 *names);
OSErr FSCloseIterator(FSIterator iterator);

/* --- Apple event records ---
 *
 * A descriptor that was filled belongs to the caller, who disposes of it; what is put into another is copied. A call
 * that fails leaves its result a null descriptor, which AEDisposeDesc takes as well. AESend is in Carbon. */

typedef FourCharCode DescType;
typedef FourCharCode AEKeyword;
typedef FourCharCode AEEventClass;
typedef FourCharCode AEEventID;
typedef SInt16 AEReturnID;
typedef SInt32 AETransactionID;

typedef struct OpaqueAEDataStorageType *AEDataStorageType;
typedef AEDataStorageType *AEDataStorage;
typedef struct AEDesc {
    DescType descriptorType;
    AEDataStorage dataHandle;
} AEDesc;
typedef AEDesc AEAddressDesc;
typedef AEDesc AEDescList;
typedef AEDescList AERecord;
typedef AERecord AppleEvent;

enum {
    typeBoolean = 0x626F6F6C,             /* 'bool': one Boolean */
    typeUTF8Text = 0x75746638,            /* 'utf8': bytes without NUL */
    typeAEList = 0x6C697374,              /* 'list' */
    typeAERecord = 0x7265636F,            /* 'reco' */
    typeAppleEvent = 0x61657674,          /* 'aevt' */
    typeProcessSerialNumber = 0x70736E20, /* 'psn ': one ProcessSerialNumber */
    typeNull = 0x6E756C6C,                /* 'null' */
    keyDirectObject = 0x2D2D2D2D,         /* '----' */
};
enum {
    kAutoGenerateReturnID = -1,
    kAnyTransactionID = 0,
};
enum {
    errAECoercionFail = -1700,
    errAEWrongDataType = -1703,
    errAENotAEDesc = -1704,
    errAEIllegalIndex = -1719,
};

OSErr AECreateDesc(DescType typeCode, const void *dataPtr, Size dataSize, AEDesc *result);
/* An empty list. The factoring arguments must be null and 0, `isRecord` false. */
OSErr AECreateList(const void *factoringPtr, Size factoredSize, Boolean isRecord, AEDescList *resultList);
/* `index` counts from 1; 0, or one more than there are items, appends. */
OSErr AEPutPtr(AEDescList *theAEDescList, long index, DescType typeCode, const void *dataPtr, Size dataSize);
/* `target` must be a process serial number. */
OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID, const AEAddressDesc *target,
                         AEReturnID returnID, AETransactionID transactionID, AppleEvent *result);
OSErr AEPutParamDesc(AppleEvent *theAppleEvent, AEKeyword theAEKeyword, const AEDesc *theAEDesc);
OSErr AEDisposeDesc(AEDesc *theAEDesc);

#ifdef __cplusplus
}
#endif

#endif
