// The system interfaces that the extension calls are the same here and on macOS: values and prototypes, each with the
// public header of macOS that has it. This is compiled against the stand-ins on Linux, and against those headers in a
// build for macOS; what differs does not compile.
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <sys/sysctl.h>

#include <type_traits>

#define VALUE(header, name, value) static_assert(static_cast<long long>(name) == (value), header)
#define PROTOTYPE(header, function, ...) static_assert(std::is_same_v<decltype(function), __VA_ARGS__>, header)

// CoreServices: CarbonCore.framework
VALUE("CarbonCore/MacErrors.h", noErr, 0);
VALUE("CarbonCore/MacErrors.h", fnfErr, -43);
VALUE("CarbonCore/MacErrors.h", paramErr, -50);
VALUE("CarbonCore/MacErrors.h", permErr, -54);
VALUE("CarbonCore/MacErrors.h", memFullErr, -108);
VALUE("CarbonCore/MacErrors.h", procNotFound, -600);
VALUE("CarbonCore/MacErrors.h", appIsDaemon, -606);
VALUE("CarbonCore/MacErrors.h", connectionInvalid, -609);
VALUE("CarbonCore/MacErrors.h", errFSNotAFolder, -1407);
VALUE("CarbonCore/MacErrors.h", errFSNoMoreItems, -1417);
VALUE("CarbonCore/MacErrors.h", errFSBadIteratorFlags, -1422);
VALUE("CarbonCore/MacErrors.h", errAECoercionFail, -1700);
VALUE("CarbonCore/MacErrors.h", errAEWrongDataType, -1703);
VALUE("CarbonCore/MacErrors.h", errAENotAEDesc, -1704);
VALUE("CarbonCore/MacErrors.h", errAEIllegalIndex, -1719);
VALUE("CarbonCore/MacErrors.h", pathTooLongErr, -2110);
VALUE("CarbonCore/MacErrors.h", gestaltUndefSelectorErr, -5551);
VALUE("CarbonCore/Gestalt.h", gestaltSystemVersion, 0x73797376);
PROTOTYPE("CarbonCore/Gestalt.h", Gestalt, OSErr(OSType, SInt32 *));
PROTOTYPE("CarbonCore/OSUtils.h", Delay, void(unsigned long, unsigned long *));
VALUE("CarbonCore/Files.h", kFSIterateFlat, 0);
VALUE("CarbonCore/Files.h", kFSCatInfoNone, 0);
VALUE("CarbonCore/Files.h", sizeof(FSRef), 80);
PROTOTYPE("CarbonCore/Files.h", FSPathMakeRef, OSStatus(const UInt8 *, FSRef *, Boolean *));
PROTOTYPE("CarbonCore/Files.h", FSRefMakePath, OSStatus(const FSRef *, UInt8 *, UInt32));
PROTOTYPE("CarbonCore/Files.h", FSOpenIterator, OSErr(const FSRef *, FSIteratorFlags, FSIterator *));
PROTOTYPE("CarbonCore/Files.h", FSGetCatalogInfoBulk,
          OSErr(FSIterator, ItemCount, ItemCount *, Boolean *, FSCatalogInfoBitmap, FSCatalogInfo *, FSRef *, FSSpecPtr,
                HFSUniStr255 *));
PROTOTYPE("CarbonCore/Files.h", FSCloseIterator, OSErr(FSIterator));
PROTOTYPE("CarbonCore/Aliases.h", FSIsAliasFile, OSErr(const FSRef *, Boolean *, Boolean *));

// CoreServices: AE.framework, and HIToolbox.framework of Carbon
VALUE("AE/AEDataModel.h", typeBoolean, 0x626F6F6C);
VALUE("AE/AEDataModel.h", typeUTF8Text, 0x75746638);
VALUE("AE/AEDataModel.h", typeAEList, 0x6C697374);
VALUE("AE/AEDataModel.h", typeAERecord, 0x7265636F);
VALUE("AE/AEDataModel.h", typeAppleEvent, 0x61657674);
VALUE("AE/AEDataModel.h", typeProcessSerialNumber, 0x70736E20);
VALUE("AE/AEDataModel.h", typeNull, 0x6E756C6C);
VALUE("AE/AEDataModel.h", keyDirectObject, 0x2D2D2D2D);
VALUE("AE/AEDataModel.h", kAutoGenerateReturnID, -1);
VALUE("AE/AEDataModel.h", kAnyTransactionID, 0);
VALUE("AE/AEDataModel.h", kAENoReply, 1);
VALUE("AE/AEDataModel.h", kAENormalPriority, 0);
VALUE("AE/AEDataModel.h", kAEDefaultTimeout, -1);
PROTOTYPE("AE/AEDataModel.h", AECreateDesc, OSErr(DescType, const void *, Size, AEDesc *));
PROTOTYPE("AE/AEDataModel.h", AEDisposeDesc, OSErr(AEDesc *));
PROTOTYPE("AE/AEDataModel.h", AECreateList, OSErr(const void *, Size, Boolean, AEDescList *));
PROTOTYPE("AE/AEDataModel.h", AEPutPtr, OSErr(AEDescList *, long, DescType, const void *, Size));
PROTOTYPE("AE/AEDataModel.h", AEPutParamDesc, OSErr(AppleEvent *, AEKeyword, const AEDesc *));
PROTOTYPE("AE/AEDataModel.h", AECreateAppleEvent,
          OSErr(AEEventClass, AEEventID, const AEAddressDesc *, AEReturnID, AETransactionID, AppleEvent *));
PROTOTYPE("AE/AEInteraction.h", AESend,
          OSErr(const AppleEvent *, AppleEvent *, AESendMode, AESendPriority, SInt32, AEIdleUPP, AEFilterUPP));

// ApplicationServices: HIServices.framework and CoreGraphics.framework
VALUE("HIServices/Processes.h", kNoProcess, 0);
VALUE("HIServices/Processes.h", kCurrentProcess, 2);
PROTOTYPE("HIServices/Processes.h", GetNextProcess, OSErr(ProcessSerialNumber *));
PROTOTYPE("HIServices/Processes.h", GetProcessInformation, OSErr(const ProcessSerialNumber *, ProcessInfoRec *));
PROTOTYPE("HIServices/Processes.h", GetProcessPID, OSStatus(const ProcessSerialNumber *, pid_t *));
PROTOTYPE("HIServices/Processes.h", GetProcessForPID, OSStatus(pid_t, ProcessSerialNumber *));
PROTOTYPE("HIServices/Processes.h", SetFrontProcess, OSErr(const ProcessSerialNumber *));
VALUE("CoreGraphics/CGWindowLevel.h", kCGNormalWindowLevelKey, 4);
VALUE("CoreGraphics/CGWindowLevel.h", kCGFloatingWindowLevelKey, 5);
PROTOTYPE("CoreGraphics/CGWindowLevel.h", CGWindowLevelForKey, CGWindowLevel(CGWindowLevelKey));

// CoreFoundation
VALUE("CoreFoundation/CFString.h", kCFStringEncodingMacRoman, 0);
VALUE("CoreFoundation/CFString.h", kCFStringEncodingUTF8, 0x08000100);
PROTOTYPE("CoreFoundation/CFBase.h", CFRetain, CFTypeRef(CFTypeRef));
PROTOTYPE("CoreFoundation/CFBase.h", CFRelease, void(CFTypeRef));
PROTOTYPE("CoreFoundation/CFURL.h", CFURLCreateFromFSRef, CFURLRef(CFAllocatorRef, const FSRef *));
PROTOTYPE("CoreFoundation/CFString.h", CFStringCreateWithCString,
          CFStringRef(CFAllocatorRef, const char *, CFStringEncoding));
PROTOTYPE("CoreFoundation/CFBundle.h", CFBundleCreate, CFBundleRef(CFAllocatorRef, CFURLRef));
PROTOTYPE("CoreFoundation/CFBundle.h", CFBundleGetFunctionPointerForName, void *(CFBundleRef, CFStringRef));

// Security
VALUE("Security/cssmtype.h", CSSM_CERT_X_509v3, 3);
VALUE("Security/cssmtype.h", CSSM_CERT_X_509_ATTRIBUTE, 9);
VALUE("Security/cssmtype.h", CSSM_CERT_ENCODING_DER, 3);
VALUE("Security/cssmtype.h", CSSM_TP_ACTION_DEFAULT, 0);
VALUE("Security/cssmapple.h", CSSM_APPLE_TP_ACTION_VERSION, 0);
VALUE("Security/cssmapple.h", CSSM_TP_ACTION_ALLOW_EXPIRED, 1);
VALUE("Security/cssmapple.h", CSSM_TP_ACTION_ALLOW_EXPIRED_ROOT, 8);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_EXPIRED, 0x001);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_NOT_VALID_YET, 0x002);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_IS_IN_INPUT_CERTS, 0x004);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_IS_IN_ANCHORS, 0x008);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_IS_ROOT, 0x010);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_IS_FROM_NET, 0x020);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_USER, 0x040);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_ADMIN, 0x080);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_SYSTEM, 0x100);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_TRUST_SETTINGS_TRUST, 0x200);
VALUE("Security/cssmapple.h", CSSM_CERT_STATUS_TRUST_SETTINGS_DENY, 0x400);
VALUE("Security/SecBase.h", errSecParam, -50);
VALUE("Security/SecBase.h", errSecAllocate, -108);
VALUE("Security/SecBase.h", errSecPolicyNotFound, -25241);
VALUE("Security/SecBase.h", errSecTrustNotAvailable, -25245);
VALUE("Security/SecBase.h", errSecUnknownFormat, -25257);
VALUE("Security/SecTrust.h", kSecTrustResultInvalid, 0);
VALUE("Security/SecTrust.h", kSecTrustResultProceed, 1);
VALUE("Security/SecTrust.h", kSecTrustResultConfirm, 2);
VALUE("Security/SecTrust.h", kSecTrustResultDeny, 3);
VALUE("Security/SecTrust.h", kSecTrustResultUnspecified, 4);
VALUE("Security/SecTrust.h", kSecTrustResultRecoverableTrustFailure, 5);
VALUE("Security/SecTrust.h", kSecTrustResultFatalTrustFailure, 6);
VALUE("Security/SecTrust.h", kSecTrustResultOtherError, 7);
PROTOTYPE("Security/SecCertificate.h", SecCertificateCreateFromData,
          OSStatus(const CSSM_DATA *, CSSM_CERT_TYPE, CSSM_CERT_ENCODING, SecCertificateRef *));
PROTOTYPE("Security/SecCertificate.h", SecCertificateGetData, OSStatus(SecCertificateRef, CSSM_DATA_PTR));
PROTOTYPE("Security/SecCertificate.h", SecCertificateCopyCommonName, OSStatus(SecCertificateRef, CFStringRef *));
PROTOTYPE("Security/SecPolicySearch.h", SecPolicySearchCreate,
          OSStatus(CSSM_CERT_TYPE, const CSSM_OID *, const CSSM_DATA *, SecPolicySearchRef *));
PROTOTYPE("Security/SecPolicySearch.h", SecPolicySearchCopyNext, OSStatus(SecPolicySearchRef, SecPolicyRef *));
PROTOTYPE("Security/SecTrust.h", SecTrustCreateWithCertificates, OSStatus(CFTypeRef, CFTypeRef, SecTrustRef *));
PROTOTYPE("Security/SecTrust.h", SecTrustSetAnchorCertificates, OSStatus(SecTrustRef, CFArrayRef));
PROTOTYPE("Security/SecTrust.h", SecTrustSetParameters, OSStatus(SecTrustRef, CSSM_TP_ACTION, CFDataRef));
PROTOTYPE("Security/SecTrust.h", SecTrustEvaluate, OSStatus(SecTrustRef, SecTrustResultType *));
PROTOTYPE("Security/SecTrust.h", SecTrustGetResult,
          OSStatus(SecTrustRef, SecTrustResultType *, CFArrayRef *, CSSM_TP_APPLE_EVIDENCE_INFO **));

// The system's own
VALUE("sys/sysctl.h", CTL_KERN, 1);
VALUE("sys/sysctl.h", KERN_PROC, 14);
VALUE("sys/sysctl.h", KERN_PROC_ALL, 0);
VALUE("sys/param.h", MAXCOMLEN, 16);
PROTOTYPE("sys/sysctl.h", sysctl, int(int *, unsigned int, void *, size_t *, void *, size_t));
