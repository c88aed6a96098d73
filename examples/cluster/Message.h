// Texts from one process to another.
#pragma once

#include <zrpythoninterp/host/zrString.h>

// What a message says. A worker begins with kReady and answers each kSet with kResult or kError;
// the head answers each of these with a kSet, or with kEnd.
enum Kind { kReady, kSet, kResult, kError, kEnd };

struct Message {
  int rank = 0;  // from whom it came
  Kind kind = kReady;
  int set = -1;  // which one it is about
  zrString text;
};

void Send(int rank, Kind kind, int set, const zrString& text);
// Waits for a message: from that process, or from any where the rank is negative.
Message Receive(int rank);
