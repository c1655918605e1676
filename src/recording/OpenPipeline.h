// The way from an open file to a filled store.
#pragma once

#include <functional>

#include "model/Opening.h"

namespace lmimport {

/// Opens DataFile, and sets Store.FileName. Throws RefusedOpen, which is among the findings, where
/// the system doesn't open a plain file of that name.
void OpenRecordingFile(Opening& opening, const String& name);

/// Has one reader fill the store, from DataFile, which is open, and Store.FileName, and adds what can
/// be noticed about any recording. Throws RefusedOpen, or a fault of the source; one of the findings
/// says why then.
void FillStore(Opening& opening);

/// Does work of an opening. What that throws is noted as a finding before it leaves.
void NoteWhyItFails(Opening& opening, const std::function<void()>& work);

}  // namespace lmimport
