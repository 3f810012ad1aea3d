#include "driver/messages.h"

#include "common/console.h"
#include "isi/tree_builder.h"

namespace tavindex {

namespace {

struct CodeText {
  Result code;
  const char* text;
};

constexpr CodeText kSetUpTexts[] = {
    {kCommandLineIncomplete, "The command line is incomplete.  Use -? option."},
    {kNameTooLong, "One of the filenames is too long."},
    {kBadRecordLength, "Invalid record length specification."},
    {kWorkNameNotCreated, "Temporary file name creation failed. (system)"},
    {kWorkFileNotOpened, "One of the temporary files could not be opened."},
    {kKeyColumnTooLarge, "A key specification is too large."},
    {kBadKeySyntax, "Invalid key specification syntax."},
    {kOverlappingKeys, "Overlapping keys are not allowed."},
    {kTooManyKeyBytes, "Too many key bytes have been selected in each record."},
    {kTooManyKeys, "Cannot use more than 32 key specifications!"},
    {kBadCondition, "Invalid primary key information."},
    {kConflictingOptions, "Conflicting utility options specified. (f, s, & v)."},
    {kOutputIsInput, "The Output file name can not be same as Input name."},
    {kBadFileLength, "Record size not valid for file length found."},
    {kConflictingKeyOptions, "Conflicting key options."},
    {kBadFillPercent, "Invalid Max sector fill percent specification"},
    {kBadReformat, "Invalid reformat specification syntax!"},
    {kNoReformatMemory, "Insufficient memory to support Reformat option!"},
    {kTagFileNeedsOutput, "Output file not specified for tag file specification."},
    {kRecordLengthRequired, "Options '-f or -g' require record length specification."},
    {kReformatNeedsOutput, "Output file not specified for reformat file specification!"},
    {kTooManyConditions, "Cannot use more than 10 'P' option parameters!"},
    {kUppercaseTooLate, "Uppercase option must be given prior to key specifications."},
    {kConflictingRecordLength, "Conflicting record length specifications."},
    {kFileTooLarge, "File too large to use space compression or variable length records."},
    {kBadOsType, "Invalid 'O' option value!"},
    {kRecordTooLong, "A record longer than 65533 bytes was found."},
    {kBadCompactOption, "Invalid compact option!"},
};

// The name of the file that the run was writing when it failed.
const char* FileBeingWritten(const FileState& files) {
  if (files.workFile >= 0 && files.workFile == files.workFd1) return files.workFileName1.CStr();
  if (files.workFile >= 0 && files.workFile == files.workFd2) return files.workFileName2.CStr();
  if (files.workFile >= 0 && files.workFile == files.errorFd) return files.errorFileName.CStr();
  return files.outputFileName.CStr();
}

void ShowWritingWarning(RunContext& run) {
  ShowFormatted(run, "WARNING!  %s failed writing to file %s.\n", run.control.commandWord,
                FileBeingWritten(run.files));
}

void ShowWorkReadWarning(RunContext& run) {
  ShowFormatted(run, "WARNING!  %s failed reading temporary work file.\n", run.control.commandWord);
}

void ShowInputReadWarning(RunContext& run) {
  ShowFormatted(run, "WARNING!  %s failed reading input file %s.\n", run.control.commandWord,
                run.files.dataFileName.CStr());
}

void ShowWrongEor(RunContext& run) {
  ShowInputReadWarning(run);
  ShowFormatted(run, "Invalid EOR found for record starting at byte offset: %d.\n",
                static_cast<int>(run.scan.nextLfa & 0xFFFFFFFF));
}

// The backspace moves the line's start one column to the left on a terminal.
void ShowWrongRecordSize(RunContext& run, const char* specified) {
  ShowFormatted(run, "WARNING!  %s record size invalid for %s.\n", run.control.commandWord,
                run.files.dataFileName.CStr());
  ShowFormatted(run, "\bRecord length found was %i and %s record length was %i.\n",
                static_cast<int>(run.data.recordLength), specified,
                static_cast<int>(run.options.declaredRecordLength - run.data.eorLength));
  run.data.longRecordSeen = true;
}

void ShowTreeLimit(RunContext& run) {
  ShowFormatted(run,
                "\nError! Tree level limit (%d) can only support %llu records for this ISI file! ",
                static_cast<int>(kTreeLevels), static_cast<unsigned long long>(TreeCapacity(run)));
}

void ShowOwnLines(RunContext& run, Result code) {
  switch (code) {
    case kWorkReadFailed:
      return ShowWorkReadWarning(run);
    case kInputReadFailed:
      return ShowInputReadWarning(run);
    case kWrongEor:
      return ShowWrongEor(run);
    case kRecordLengthDiffers:
      return ShowWrongRecordSize(run, "specified");
    case kRecordOverDeclared:
      return ShowWrongRecordSize(run, "maximum");
    default:
      return;
  }
}

// The texts of a failed compaction: with the command word, or (`named`) with the ISI's name.
struct CompactText {
  Result code;
  const char* before;
  const char* after;
  bool named;
};

constexpr CompactText kCompactTexts[] = {
    {kNotAnIsi, "Not a valid .isi file structure for file: ", ".\n", true},
    {kBadIsiVersion, "Invalid ISI version to compact file named:  ", ".\n", true},
    {kBadDeletedCount, "Invalid ISI Deleted Record count for file named:  ", ".\n", true},
    {kBadStoredLine, "Invalid input ISI command line format found in file named:  ", ".\n", true},
    {kBadCompactLine, "Invalid input compact option command line (Internal)!\n", "", false},
    {kNewLineTooLong, "New compact command line too long to store in ISI header!\n", "", false},
    {kInPlaceFailed, "Unable to execute in place ISI compact operation!\n", "", false},
    {kLockingFailed, "Unable to execute ISI compact operation with locking!\n", "", false},
    {kCompactFailed, "Unable to execute ISI compact operation!\n", "", false},
};

void ShowCompactText(RunContext& run, const CompactText& text) {
  ShowFormatted(run, "%s%s%s", text.before, text.named ? run.files.dataFileName.CStr() : "",
                text.after);
}

}  // namespace

const char* FixedTextOf(Result code) {
  for (const CodeText& entry : kSetUpTexts) {
    if (entry.code == code) return entry.text;
  }
  return nullptr;
}

void ShowSetUpFailure(RunContext& run, Result code) {
  const char* text = FixedTextOf(code);
  ShowMessage(run, text != nullptr ? text : run.console.messageBuffer.data());
  ShowMessage(run, "\n");
}

void ShowBuildFailure(RunContext& run, Result code) {
  ShowOwnLines(run, code);
  switch (code) {
    case kRecordTooLong:
      ShowMessage(run, FixedTextOf(kRecordTooLong));
      return;
    case kNoMemory:
      return;
    case kTreeLevelLimit:
      return ShowTreeLimit(run);
    // Reading and record-size failures get this line too, behind their own.
    default:
      return ShowWritingWarning(run);
  }
}

void ShowCompactFailure(RunContext& run, Result code) {
  for (const CompactText& text : kCompactTexts) {
    if (text.code == code) return ShowCompactText(run, text);
  }
  switch (code) {
    case kWorkReadFailed:
      return ShowWorkReadWarning(run);
    case kInputReadFailed:
      return ShowInputReadWarning(run);
    case kIsiWriteFailed:
      ShowFormatted(run, "WARNING!  %s failed writing output data!\n", run.control.commandWord);
      return;
    default:
      return ShowWritingWarning(run);
  }
}

}  // namespace tavindex
