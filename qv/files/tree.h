// Whole folders: how large, whether empty, deleted, moved.
//
//   int32_t progress(void* data, double percent, const WCHAR* path) { ... return cancelled ? kCancelled : 0;
//   } uint32_t moved = 0; HRESULT status = QvMoveFolder(TEXT("D:\\takes"), TEXT("C:\\takes"), &moved,
//   progress, &window);
//
// A folder is walked in the order in which the system lists it. What a link leads to is never entered: it is
// neither counted nor deleted, only the link itself is; a link to a folder counts as a file. Paths may be
// longer than 260 characters where the system takes them. Nothing keeps state: any thread may call, for
// folders that nothing else changes meanwhile.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// 1 when the folder has no names but "." and ".."; 0 also when it can't be listed.
QV_API int32_t QvIsDirectoryEmpty(const WCHAR* folder);

// 1 when neither the folder nor one below it holds a file; 0 also when one can't be listed. With
// `ignoreThumbs` nonzero a first file of the name "thumbs.db", in any case, ends the search with 1, whatever
// else there is: callers offer to delete folders that held pictures.
QV_API int32_t QvIsDirectoryEmptyRecursive(const WCHAR* folder, int32_t ignoreThumbs);

// The sum of the sizes of all files in bytes. 0, or 0x80070057 for a null `size`. A folder that can't be
// listed counts 0.
QV_API HRESULT QvGetDirectorySize(const WCHAR* folder, uint64_t* size);

// Deletes the files of a folder that match a pattern of the system's, read-only ones too; with `recurse`
// nonzero those of the folders below as well. Folders stay. 1 only if all went.
QV_API int32_t QvDeleteFiles(const WCHAR* folder, const WCHAR* pattern, int32_t recurse);

// Deletes all that is in a folder, read-only or not, and with `removeFolder` nonzero the folder itself. What
// can't be deleted stays, the rest goes. 1 only if all went. If the folder is itself a link, only the link
// is removed, and without `removeFolder` nothing is done and the result is 0.
QV_API int32_t QvDeleteDirectoryTree(const WCHAR* folder, int32_t removeFolder);

// Called while a folder is copied: first with 0 percent and a null path, then for each file with the percent
// of the bytes that are done (0 to 100) and its path. A negative result is kept as the result of the whole,
// 0x8004e00c also ends it at once.
using QVMOVEFOLDERCALLBACK = HRESULT (*)(void* data, double percent, const WCHAR* path);

// Moves what a folder holds into another, which is made if it isn't there and keeps what else it holds; files
// of the same name are replaced. Target first. On one volume files are moved one by one; to another the
// folder is copied, and only when all of it is there the source goes.
//   count     receives how many files were moved; 0 after a copy that failed. Null allowed
//   callback  called on this thread, only for a copy. Null allowed
//   data      handed to the callback
// 0, also if both are the same path; 1 when all was copied but something of the source couldn't be removed;
// 0x8004e186 when the target's path contains the source's; 0x80004005 without roots; 0x8004e006 when the
// target can't be made; 0x8004e002 when it has no room, with a twentieth to spare; 0x8004e009 when it can't
// be written, or for the first file that failed (what could be moved is moved); 0x8004e008 for a folder that
// couldn't be listed; or what the callback said. What wasn't moved is still in the source.
QV_API HRESULT QvMoveFolder(const WCHAR* target, const WCHAR* source, uint32_t* count,
                            QVMOVEFOLDERCALLBACK callback, void* data);

// Whether everything in a folder could be moved now: 0, or 0x8004e16e if a file is in use or unreadable.
// Nothing changes.
QV_API HRESULT QvCanMoveFolder(const WCHAR* folder);
