// A password in the form in which a host stores it.
#include "runtime/base64.hpp"
#include "vxext/src/log.hpp"
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

    Status status =
        squillonTranscode(extension, parms->inputTranscoder, parms->password, parms->passwordLength,
                          password.address(), password.lengthAddress());
    if (status != VX_SUCCESS && !password.get()) {
        squillonLogFailure(extension, U"quillonPasswordEncrypt no memory for transcoded password");
        return VX_NO_MEMORY;
    }
    if (status != VX_SUCCESS) {
        squillonLogFailure(extension, U"quillonPasswordEncrypt transcode password returned rc=%X",
                           status);
        return status;
    }
    status = base64DecodeRPX(pool, password.get(), password.length(), decoded.address(),
                             decoded.lengthAddress());
    if (status != VX_SUCCESS) return status;
    uint64_t encodedLength = 0;
    status =
        base64EncodeRPX(pool, decoded.get(), decoded.length(), encoded.address(), &encodedLength);
    if (status != VX_SUCCESS) return status;

    uint64_t bytes = 0;
    status = parms->outputTranscoder->Transcode(parms->outputTranscoder, encoded.get(),
                                                encodedLength * sizeof(char32_t), parms->encoded,
                                                *parms->encodedLength, &bytes, 0);
    if (status == VX_SUCCESS)
        *produced = bytes;
    else
        squillonLogFailure(extension,
                           U"quillonPasswordEncrypt untranscoding password returned rc=%X", status);
    return status;
}

}  // namespace

Status quillonPasswordEncrypt(ExtensionHandle* extension, PasswordParms* parms) {
    squillonTrace(extension, U"quillonPasswordEncrypt called");
    Status status = VX_SUCCESS;
    uint64_t produced = 0;
    if (parms->passwordLength > 0) status = encrypt(extension, parms, &produced);
    *parms->encodedLength = produced;
    squillonTrace(extension, U"quillonPasswordEncrypt returning rc=%X", status);
    return status;
}

}  // namespace vx
