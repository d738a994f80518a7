/// Console tracing beside the two text helpers of libharlune.h. No native method calls any of the three; the helpers
/// are exported for other code of the process, and the tracer is not, because it raises.
#pragma once

#include "harlune.h"

/// Prints "<FieldName> - <message>" and a line end on Java's `System.out`. Raises a text when the JVM refuses a step.
void traceString(JNIEnv* env, const char* FieldName, const char* message);
