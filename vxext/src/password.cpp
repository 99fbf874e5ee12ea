// A password in the form in which a host stores it.
#include "runtime/base64.hpp"
#include "runtime/wipe.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/pool_ptr.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {
namespace {

// Stores the bytes produced in *produced on success alone.
Status encrypt(ExtensionHandle* extension, const PasswordParms* parms, uint64_t* produced) {
    Pool* pool = extension->pool;
    // Given back last to first: the password, its decoded form, the encoded text.
    PoolPtr<char32_t> encoded(pool, nullptr);
    SecretText decoded(pool);
    SecretText password(pool);

    if (Status rc = squillonTranscodeGiven(extension, parms->inputTranscoder, parms->password,
                                           parms->passwordLength, password.address(),
                                           password.lengthAddress()))
        return password
                   ? squillonFail(extension, rc,
                                  U"quillonPasswordEncrypt transcode password returned rc=%X", rc)
                   : squillonFail(extension, rc,
                                  U"quillonPasswordEncrypt no memory for transcoded password");
    if (Status rc = base64DecodeRPX(pool, password.get(), password.length(), decoded.address(),
                                    decoded.lengthAddress()))
        return rc;
    uint64_t encodedLength = 0;
    if (Status rc = base64EncodeRPX(pool, decoded.get(), decoded.length(), encoded.address(),
                                    &encodedLength)) {
        // A service that fails may leave the password as it was.
        if (encoded) squillonWipe(encoded.get(), encodedLength * sizeof(char32_t));
        return rc;
    }

    Status rc =
        squillonConvert(parms->outputTranscoder, encoded.get(), encodedLength * sizeof(char32_t),
                        parms->encoded, *parms->encodedLength, produced);
    if (rc != VX_SUCCESS)
        squillonLogFailure(extension,
                           U"quillonPasswordEncrypt untranscoding password returned rc=%X", rc);
    return rc;
}

}  // namespace

Status quillonPasswordEncrypt(ExtensionHandle* extension, PasswordParms* parms) {
    squillonTrace(extension, U"quillonPasswordEncrypt called");
    Status rc = VX_SUCCESS;
    uint64_t produced = 0;
    if (parms->passwordLength > 0) rc = encrypt(extension, parms, &produced);
    *parms->encodedLength = produced;
    squillonTrace(extension, U"quillonPasswordEncrypt returning rc=%X", rc);
    return rc;
}

}  // namespace vx
