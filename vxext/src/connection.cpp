#include "vxext/src/connection.hpp"

#include "vxext/src/journal.hpp"

namespace vx {

ClientParms squillonClientParms(uint8_t clientOption, Journal* journal, HttpContext* context) {
    ClientParms parms{};
    parms.clientOption = clientOption;
    parms.journal = journal;
    parms.code = 27;
    parms.httpContext = context;
    parms.channel = U"App.WebDAV";
    parms.channelLength = 10;
    return parms;
}

Client* squillonAttemptClient(ExtensionHandle* extension, ClientParms* parms, Journal* journal) {
    Weblnk* weblnk = extension->weblnk;
    Journal* enabled = squillonEnabledJournal(extension, journal);
    Journal* const attempts[] = {enabled, enabled, journal};
    for (Journal* attempt : attempts)
        if (Client* client = weblnk->CreateClient2(weblnk, parms, attempt, 0)) return client;
    return nullptr;
}

Status squillonCreateConnection(ExtensionHandle* extension, ClientParms* parms, Journal* journal,
                                Client** client) {
    *client = squillonAttemptClient(extension, parms, journal);
    if (*client) return VX_SUCCESS;
    squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                            squillonCounted(U"HTTP client instance could not be created."));
    return QUILLON_REQUEST_FAILED;
}

}  // namespace vx
