#pragma once

/// The longer texts of the command line's help.
namespace reelwright::cli::help {

extern const char* const kProgram;
extern const char* const kProgramFooter;
extern const char* const kInfoFooter;
extern const char* const kTracksFooter;
extern const char* const kTimecodeFooter;
extern const char* const kChaptersFooter;
extern const char* const kTextsFooter;
extern const char* const kMarkersFooter;
extern const char* const kMetadataFooter;
extern const char* const kAtomsFooter;
extern const char* const kEdit;
extern const char* const kEditFooter;
extern const char* const kWatchFooter;
extern const char* const kCheckFooter;
extern const char* const kExportFooter;
extern const char* const kFrameFooter;
extern const char* const kVerifyFooter;
extern const char* const kTasksFooter;
extern const char* const kGenerateFooter;

} // namespace reelwright::cli::help
