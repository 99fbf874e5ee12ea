#include "platform/base/status.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace vxhost {
namespace {

struct StatusText {
    Status status;
    const char* text;
};

constexpr StatusText texts[] = {
    {vx::VX_SUCCESS, "Done."},
    {vx::VX_NO_MEMORY,
     "There was not enough memory. Close other programs, or ask for less at a time."},
    {vx::VX_INVALID_ARGUMENT, "A value that was handed in is not valid. Please report this."},
    {vx::VX_UNSUPPORTED, "This is not supported."},
    {vx::VX_END_OF_DATA, "There is no more data."},
    {vx::VX_BUFFER_TOO_SMALL,
     "The result is too long for the room that was set aside for it. Please report this."},
    {vx::VX_PATH_NOT_FOUND,
     "A local file or directory does not exist. Check its path and its name."},
    {vx::VX_END_OF_FILE, "The local file ends here."},
    {vx::VX_NO_ENCODING_SERVICE,
     "Passwords cannot be encoded here, because this program offers no encoding."},

    {vx::QUILLON_BAD_URL,
     "The URL of the collection is not usable. It must name a directory and end in \"/\"."},
    {vx::QUILLON_NOT_AUTHORIZED,
     "The server refused the user name or the password. Check both and try again."},
    {vx::QUILLON_COLLECTION_NOT_FOUND,
     "The server has no collection at this URL. Check the URL's spelling."},
    {vx::QUILLON_LOCKED,
     "Somebody else holds a lock on this member. Try again when it has been released."},
    {vx::QUILLON_ALREADY_LOCKED, "This member is locked by you already. Release that lock first."},
    {vx::QUILLON_FILE_NOT_FOUND,
     "The server has no member of this name. List the collection to see what it holds."},
    {vx::QUILLON_NO_FILE_HANDLE,
     "The member could not be opened. The messages before this one say why."},
    {vx::QUILLON_UNEXPECTED_STATUS,
     "The server gave an answer that does not fit the request. The log shows which; the "
     "server's administrator can tell why."},
    {vx::QUILLON_LOCK_NOT_SUPPORTED,
     "The server does not offer locks for this member. Work without a lock."},
    {vx::QUILLON_LOCK_FAILED,
     "The server did not grant the lock. Try again later, or work without a lock."},
    {vx::QUILLON_METHOD_NOT_ALLOWED,
     "The server does not allow this for the member. Your account may lack the right to it."},
    {vx::QUILLON_NO_CREATION_DATE,
     "The server does not say when the member was created, so its age cannot be checked. Repeat "
     "this without the check if you are sure."},
    {vx::QUILLON_NEWER_FILE,
     "The member on the server is newer than you expect, so it was left alone. Look at it before "
     "you go on."},
    {vx::QUILLON_PRECONDITION_FAILED,
     "The new name is taken already, so nothing was renamed. Choose another name."},
    {vx::QUILLON_FILE_LOST,
     "Somebody changed the member on the server meanwhile, so your version was not stored. Fetch "
     "the member again and bring both versions together."},
    {vx::QUILLON_PUT_LOCK_FAILED,
     "The lock was lost and could not be taken again, so your version was not stored. Try again "
     "when nobody else holds a lock."},
    {vx::QUILLON_REQUEST_FAILED,
     "The request could not be carried out. The messages before this one say why."},
    {vx::QUILLON_INSUFFICIENT_STORAGE,
     "The server has no room left for this member. Delete something there, or ask its "
     "administrator for more room."},
    {vx::QUILLON_BAD_RESPONSE,
     "The server's answer lacks what must be in it. The server may not be a WebDAV server."},
    {vx::QUILLON_NO_LOCAL_CACHE,
     "The collection was opened for listing alone, so its members cannot be opened."},
    {vx::QUILLON_NO_MEMBER_NAME, "The name of the member is missing."},
    {vx::QUILLON_MKCOL_FORBIDDEN,
     "The server does not permit a new collection there. Your account may lack the right to it."},
    {vx::QUILLON_MKCOL_NOT_ALLOWED,
     "Something of this name exists already, so no collection was created."},
    {vx::QUILLON_MKCOL_CONFLICT,
     "A collection above the new one does not exist. Create that one first."},
    {vx::QUILLON_DELETE_REFUSED,
     "The collection was not deleted: it still holds members, or the server does not permit it."},
    {vx::QUILLON_DELETE_NOT_ALLOWED, "The server does not allow this collection to be deleted."},
    {vx::QUILLON_DELETE_CONFLICT,
     "The collection could not be deleted in its present state. Look at what it holds, and try "
     "again."},

    {WEBLNK_BAD_URL, "This is not a URL that can be asked for. Check its spelling."},
    {WEBLNK_NO_SUCH_HOST,
     "The server's name is not known. Check its spelling and your network connection."},
    {WEBLNK_NO_CONNECTION,
     "The server could not be reached. Check the port, your network connection, and whether the "
     "server is running."},
    {WEBLNK_TLS_REFUSED,
     "The server could not prove who it is, so nothing was sent to it. Check its name and port, or "
     "name the authority that you trust for it."},
    {WEBLNK_TIMED_OUT,
     "The server did not answer in time. Try again later, or allow it more time."},
    {WEBLNK_CUT_OFF,
     "The connection ended before the answer was complete. Try again; after a change look first, "
     "for it may have been made all the same."},
    {WEBLNK_REDIRECTED_AWAY,
     "The server points to another server, which gets nothing of what was meant for this one. Use "
     "the other server's URL if you trust it."},
    {WEBLNK_INTERRUPTED, "This was interrupted, as you asked."},
    {WEBLNK_BAD_ANSWER,
     "The server's answer cannot be read. The server may not be a WebDAV server."},
    {WEBLNK_REFUSED,
     "The server refused to hand out the member. Your account may lack the right to it."},
    {WEBLNK_PROXY_REFUSED,
     "The proxy could not be used. Check its URL, and the user name and password for it."},
    {WEBLNK_BAD_DATE, "A date of the server cannot be read, so it counts as missing."},
    {WEBLNK_LIBRARY_FAILED,
     "libcurl, which carries requests, does not work on this machine. Check its installation."},
    {WEBLNK_NO_TLS,
     "No TLS connection came about. Check the port: perhaps the server speaks plain http there."},
    {WEBLNK_NO_AUTHORITIES,
     "The file of the authorities that you trust cannot be used. It must be there, be yours to "
     "read, and hold certificates in PEM form."},
    {WEBLNK_LOCK_LEFT, "The server says that it has no such lock, and still shows it."},
    {WEBLNK_OTHER_KEY,
     "The server shows another key than the one that you trusted, so nothing was sent to it. Ask "
     "its administrator whether the key was changed; if not, somebody may be in between."},
    {WEBLNK_CERTIFICATE_WANTED,
     "The server wants a certificate of yours, or does not take the one that it was shown."},
    {WEBLNK_NO_SUCH_LOCK,
     "It has no lock with this token that you may use. The lock may have run out, or was taken off "
     "already."},
    {WEBLNK_OTHER_SCHEMES, "Log in by what it offers."},
    {WEBLNK_DEAD_SOCKET,
     "The server could not be reached. Check the path of the socket, and whether the server is "
     "running."},
    {WEBLNK_TICKET_REFUSED,
     "Kerberos does not let you in. Look at your tickets, and at the name of the server's host."},
    {WEBLNK_HEADER_REFUSED, "Check that header, or leave it out to log in by other means."},
    {WEBLNK_HANDSHAKE_REFUSED,
     "The server speaks TLS, and refused the handshake. Perhaps it wants a certificate of yours, "
     "or another version of TLS."},

    {FSBOX_DENIED,
     "The system does not permit access to a local file or directory. Check its owner and mode."},
    {FSBOX_EXISTS, "A local file or directory of this name exists already."},
    {FSBOX_NO_SPACE, "The local disk is full, or your quota is used up. Make room and try again."},
    {FSBOX_IO,
     "A local file could not be read or written. The disk may be failing or gone; try another "
     "place."},

    {TRANSCODE_INVALID,
     "A text holds bytes that are no characters of its encoding. Names and passwords are given "
     "in UTF-8."},
    {ENCODING_REFUSED,
     "The stored password was altered, or was stored with another key or by another program. "
     "Store it anew."},
    {ENCODING_KEY_EXPOSED,
     "Others can read or replace the key of your stored passwords, so it is not used. Make it "
     "yours alone (mode 0600); if others may have seen it, change your passwords too."},
    {ENCODING_NO_KEY,
     "The key of your stored passwords is missing or damaged. Store the passwords anew."},
};

}  // namespace

LastFailure& lastFailure() noexcept {
    thread_local LastFailure last;
    return last;
}

Status noted(const Failure& failure) noexcept {
    LastFailure& last = lastFailure();
    last.status = failure.status();
    try {
        last.detail = failure.what();
    } catch (const std::bad_alloc&) {
        last.detail.clear();
    }
    return last.status;
}

std::string statusText(Status status) {
    const auto* found = std::find_if(std::begin(texts), std::end(texts),
                                     [&](const StatusText& each) { return each.status == status; });
    if (found != std::end(texts)) return found->text;
    return fmt::format("This failed with the code {:08X}. The log may show why.", status);
}

}  // namespace vxhost
