// The result codes of the whole program. Routines return kOk or one of the negative codes below;
// the run driver turns a code into its fixed text and decides the exit status. Each number is
// written here and nowhere else.
#pragma once

#include <cstdint>

namespace tavindex {

using Result = std::int32_t;

inline constexpr Result kOk = 0;

// Only the driver: a close, delete or rename at the end failed, or the usage was asked for.
inline constexpr Result kEndingFailed = 1;

// Scanning, sorting, merging, tree building.
inline constexpr Result kInputExhausted = -1;  // CreateSubList: no more records
inline constexpr Result kInsertFailed =
    kInputExhausted;  // WriteTagRecord: the tree refused the key
inline constexpr Result kNodeWriteFailed = -2;
inline constexpr Result kWorkReadFailed = -3;
inline constexpr Result kInputReadFailed = -4;
inline constexpr Result kWrongEor = -5;
inline constexpr Result kRecordLengthDiffers = -6;
inline constexpr Result kRecordOverDeclared = -7;
inline constexpr Result kListWriteFailed = -8;
inline constexpr Result kNoMemory = -9;
inline constexpr Result kWrongDataFormat = -10;
inline constexpr Result kBadIniOption = -11;
inline constexpr Result kUsageShown = -12;
inline constexpr Result kTreeLevelLimit = -13;
inline constexpr Result kInformationShown = -20;
inline constexpr Result kCancelled = -21;
inline constexpr Result kNullFileNeedsLength = -151;
inline constexpr Result kLimitExceeded = -156;
inline constexpr Result kIsiWriteFailed = -157;
inline constexpr Result kWorkWriteFailed = -158;

// Set-up of a run.
inline constexpr Result kOutputNameUnresolved = -100;
inline constexpr Result kIsiNotOpened = -101;
inline constexpr Result kNotAnIsi = -102;
inline constexpr Result kNoKeyInformation = -103;
inline constexpr Result kCommandLineIncomplete = -104;
inline constexpr Result kInputNotPrimed = -105;
inline constexpr Result kOutputNotCreated = -106;
inline constexpr Result kNameTooLong = -107;
inline constexpr Result kBadRecordLength = -108;
inline constexpr Result kWorkNameNotCreated = -109;
inline constexpr Result kWorkFileNotOpened = -110;
inline constexpr Result kKeyColumnTooLarge = -111;
inline constexpr Result kBadKeySyntax = -112;
inline constexpr Result kOverlappingKeys = -113;
inline constexpr Result kTooManyKeyBytes = -114;
inline constexpr Result kTooManyKeys = -115;
inline constexpr Result kSourceNameUnresolved = -116;
inline constexpr Result kBadCondition = -118;
inline constexpr Result kSourceNotOpened = -120;
inline constexpr Result kSourceSizeUnknown = -121;
inline constexpr Result kFileNameOver255 = -122;
inline constexpr Result kFullPathOver255 = -123;
inline constexpr Result kConflictingOptions = -124;
inline constexpr Result kOutputIsInput = -126;
inline constexpr Result kBadFileLength = -127;
inline constexpr Result kConflictingKeyOptions = -128;
inline constexpr Result kBadFillPercent = -129;
inline constexpr Result kBadReformat = -130;
inline constexpr Result kNoReformatMemory = -131;
inline constexpr Result kTagFileNeedsOutput = -132;
inline constexpr Result kRecordLengthRequired = -133;
inline constexpr Result kReformatNeedsOutput = -134;
inline constexpr Result kTooManyConditions = -135;
inline constexpr Result kUppercaseTooLate = -136;
inline constexpr Result kConflictingRecordLength = -137;
inline constexpr Result kFileTooLarge = -138;
inline constexpr Result kBadOsType = -159;
inline constexpr Result kRecordLengthUnknown = -160;
inline constexpr Result kRecordTooLong = -161;
inline constexpr Result kBadCompactOption = -171;

// Compaction.
inline constexpr Result kBadIsiVersion = -162;
inline constexpr Result kBadDeletedCount = -163;
inline constexpr Result kBadStoredLine = -164;
inline constexpr Result kBadCompactLine = -165;
inline constexpr Result kNewLineTooLong = -166;
inline constexpr Result kInPlaceFailed = -167;
inline constexpr Result kRestoreFailed = -168;
inline constexpr Result kLockingFailed = -169;
inline constexpr Result kCompactFailed = -170;

}  // namespace tavindex
