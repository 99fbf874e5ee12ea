// The operations behind the table of an extension handle; their contracts are host/quillon.h's.
// An operation reaches another one through the table alone.
#pragma once

#include "host/quillon.h"

namespace vx {

CollectionHandle* quillonCollectionHandleAcquire(ExtensionHandle* extension, CollectionParms* parms,
                                                 Journal* journal);
Status quillonCollectionHandleRelease(CollectionHandle* collection);
CollectionListHandle* quillonCollectionListOpen(CollectionHandle* collection,
                                                Transcoder* transcoder, const char* genericName,
                                                Journal* journal);
Status quillonCollectionListClose(CollectionListHandle* list);
FileHandle* quillonFileHandleAcquire(CollectionHandle* collection, FileHandleParms* parms,
                                     Journal* journal);
Status quillonFileHandleRelease(FileHandle* member);
Status quillonFileDelete(CollectionHandle* collection, DeleteParms* parms, Journal* journal);
Status quillonFileGet(FileHandle* member, FileGetParms* parms, Journal* journal);
Status quillonFileInfo(FileHandle* member, Transcoder* transcoder, Journal* journal);
Status quillonFileLock(FileHandle* member, LockRequest* request, Journal* journal);
Status quillonFileLockRelease(FileHandle* member, Journal* journal);
Status quillonFilePut(FileHandle* member, void* ignored, Journal* journal);
Status quillonFileRename(CollectionHandle* collection, RenameParms* parms, Journal* journal);
Status quillonPasswordEncrypt(ExtensionHandle* extension, PasswordParms* parms);
Status quillonCollectionCreate(ExtensionHandle* extension, CollectionOpParms* parms,
                               Journal* journal);
Status quillonCollectionDelete(ExtensionHandle* extension, CollectionOpParms* parms,
                               Journal* journal);

}  // namespace vx
