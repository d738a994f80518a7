/// The log hook.
#include "harlune.h"

const char* g_sLogPath = "~/hlf-libharlune_log_file.txt";

void LogFunction(const char* /*sFuncName*/, CK_RV /*Rv*/, ...) {}
