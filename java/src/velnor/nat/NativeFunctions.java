package velnor.nat;

import java.nio.ByteBuffer;

/**
 * The functions of PKCS#11 by their shapes: one native method for each form that the arguments take, and an index (see
 * {@link Function}) for the function. Any number of modules can be loaded; each is an argument.
 *
 * <p><strong>Answers are values.</strong> Nothing here throws a {@link velnor.CryptokiException}.
 * <ul>
 * <li>A method that returns {@code int} returns the module's answer: the low 32 bits of the {@code CK_RV}, 0 for {@code
 * CKR_OK}. (An answer that is not 0 but has 32 zeroes at its end counts as {@code CKR_GENERAL_ERROR}.)</li>
 * <li>A method that returns {@code long} returns a length, a count or an id from 0 on, or a <em>failure</em>: a
 * negative number, of which {@link #answer(long)} is the module's answer and {@link #needed(long)} the length or count
 * that the module told with it, if it is more than there was room for, and 0 if not.</li>
 * </ul>
 * What the library finds out by itself is answered in the same way, and the module is not called: {@code
 * CKR_CRYPTOKI_NOT_INITIALIZED} for an id that {@link #load} has not given, {@code CKR_FUNCTION_NOT_SUPPORTED} for an
 * entry that the module leaves empty, or does not have because its list is an older one, or an index outside of the
 * shape, {@code CKR_ARGUMENTS_BAD} for a range outside of its array or a structure that is not whole, {@code
 * CKR_HOST_MEMORY} when there is no memory. {@code CKR_GENERAL_ERROR} is the answer for a module that reports more than
 * it was given room for with {@code CKR_OK}, or that lets an exception out.
 *
 * <p><strong>Bytes.</strong> A null array is a null pointer with length 0; an empty range is not null. Arrays are
 * copied on the way in and on the way out, and the copies are wiped; a direct buffer is used where it lies, by absolute
 * positions. Nothing is pinned while a module works. When a call fails, output arrays stay as they were; a structure
 * that comes back does so then, too.
 *
 * <p><strong>Structures</strong> (templates, mechanism parameters, initialisation arguments) are bytes that {@link
 * Structure} lays out. The parameter of an operation lies at the beginning of a direct buffer that {@link
 * ByteBuffer#allocateDirect} has made: a module may read and write it there until the operation has ended, so it is
 * neither copied nor wiped, and the caller keeps the buffer until then, with nothing else in it. What the module has
 * written is to be had with {@link Structure#takeBack}; the offsets in the buffer are addresses from the call on.
 *
 * <p>Numbers, handles, slots and mechanisms are {@code CK_ULONG}s: all 64 bits, without a sign.
 *
 * <p>No method locks. A module that was initialised with {@code CKF_OS_LOCKING_OK} and agreed can be called from any
 * number of threads; any other one from one thread at a time.
 */
public final class NativeFunctions {
    private NativeFunctions() {
    }

    /**
     * The module's answer in a failure.
     *
     * @param failure a negative result
     * @return the low 32 bits of the {@code CK_RV}
     */
    public static int answer(long failure) {
        return (int) ~failure;
    }

    /**
     * The length or count that the module told with a failure.
     *
     * @param failure a negative result
     * @return what it needs, at most {@link Integer#MAX_VALUE}; 0 when it told none, or one for which there was room
     */
    public static int needed(long failure) {
        return (int) (~failure >>> 32);
    }

    // --- Functions by their shapes: functions_modules.cpp

    /**
     * Tells the version of {@code libharlune.so}.
     *
     * @return the major version times 256 plus the minor one
     */
    public static native int version();

    /**
     * Describes an answer, such as "PIN INCORRECT".
     *
     * @param answer the low 32 bits of a {@code CK_RV}
     * @param text receives the description in ASCII, as far as it has room: 34 bytes, blanks at the end
     * @return the length of the description
     */
    public static native int description(int answer, byte[] text);

    /**
     * Loads a module, or finds it when it is loaded. A module stays loaded until the process ends: what it has left
     * with a thread may run at any time. It is not initialised.
     *
     * @param path the file name, as the dynamic loader wants it, in the file system's encoding without a zero
     * @param text receives, with a failure, what the loader said, as far as it has room
     * @return the module's id, which is more than 0, or a failure. {@link #needed} of a failure is the length of the
     *         text: more than 0 when the loader or the library said why, 0 when the module refused with an answer of
     *         its own
     */
    public static native long load(byte[] path, byte[] text);

    /**
     * Tells where a module lies.
     *
     * @param module its id
     * @param path receives the full path, as far as it has room
     * @return the length of the path; 0 when it is not known
     */
    public static native int path(long module, byte[] path);

    /**
     * Tells whether signing with a module needs a second authentication: false when the file beside it, named as the
     * module with {@code .conf} appended, contained {@code DsPinIsCNSPin=true} when it was loaded.
     *
     * @param module its id
     * @return whether it is needed
     */
    public static native boolean isSecondAuthenticationRequired(long module);

    /**
     * Tells whether a module has a function.
     *
     * @param module its id
     * @param function the function, by {@link Function#ordinal()}
     * @return whether it can be called
     */
    public static native boolean has(long module, int function);

    /**
     * {@code C_Initialize}.
     *
     * @param module its id
     * @param arguments a {@code CK_C_INITIALIZE_ARGS}, or null for none
     * @return the answer
     */
    public static native int initialize(long module, byte[] arguments);

    /**
     * {@code C_Finalize}.
     *
     * @param module its id
     * @return the answer
     */
    public static native int finish(long module);

    // --- Functions by their shapes: functions_queries.cpp

    /**
     * Functions that fill an information structure.
     *
     * @param module the module's id
     * @param function {@code C_GetInfo}, {@code C_GetSlotInfo}, {@code C_GetTokenInfo}, {@code C_GetMechanismInfo} or
     *        {@code C_GetSessionInfo}
     * @param id the slot or the session, if the function takes one
     * @param mechanism the mechanism, if the function takes one
     * @param structure receives the C structure, whose size it must have
     * @return the answer
     */
    public static native int information(long module, int function, long id, long mechanism, byte[] structure);

    /**
     * Functions that fill a list.
     *
     * @param module the module's id
     * @param function {@code C_GetSlotList} or {@code C_GetMechanismList}
     * @param id the slot; for {@code C_GetSlotList} 1 to list slots with a token alone, else 0
     * @param list receives the list; null asks for its length
     * @return how many elements the list has, or a failure
     */
    public static native long list(long module, int function, long id, long[] list);

    /**
     * {@code C_WaitForSlotEvent}.
     *
     * @param module the module's id
     * @param flags 0, or {@code CKF_DONT_BLOCK}
     * @param slot receives the slot
     * @return the answer
     */
    public static native int waitForSlotEvent(long module, long flags, long[] slot);

    /**
     * {@code C_GetObjectSize}.
     *
     * @param module the module's id
     * @param session the session
     * @param object the object
     * @param size receives the size
     * @return the answer
     */
    public static native int objectSize(long module, long session, long object, long[] size);

    // --- Functions by their shapes: functions_sessions.cpp

    /**
     * {@code C_OpenSession}. A module of the family that asks for the signer PIN is handed the callback; the PIN is
     * emptied before.
     *
     * @param module the module's id
     * @param slot the slot
     * @param flags {@code CKF_SERIAL_SESSION}, and {@code CKF_RW_SESSION} for a session that may change the token
     * @param session receives the session
     * @return the answer
     */
    public static native int openSession(long module, long slot, long flags, long[] session);

    /**
     * {@code C_Login}.
     *
     * @param module the module's id
     * @param session the session
     * @param userType who logs in ({@code CKU_})
     * @param pin the PIN in UTF-8; null for a reader with a PIN pad
     * @return the answer
     */
    public static native int login(long module, long session, long userType, byte[] pin);

    /**
     * {@code C_LoginUser}.
     *
     * @param module the module's id
     * @param session the session
     * @param userType who logs in ({@code CKU_})
     * @param pin the PIN in UTF-8; null for a reader with a PIN pad
     * @param name the user's name in UTF-8
     * @return the answer
     */
    public static native int loginUser(long module, long session, long userType, byte[] pin, byte[] name);

    /**
     * {@code C_InitToken}.
     *
     * @param module the module's id
     * @param slot the slot
     * @param pin the security officer's PIN in UTF-8; null for a reader with a PIN pad
     * @param label the label: 32 bytes, blanks at the end
     * @return the answer; {@code CKR_ARGUMENTS_BAD} for a label of another length
     */
    public static native int initToken(long module, long slot, byte[] pin, byte[] label);

    /**
     * {@code C_SetOperationState}.
     *
     * @param module the module's id
     * @param session the session
     * @param state the state
     * @param encryptionKey the key of an encryption or decryption, or 0
     * @param authenticationKey the key of a signature or verification, or 0
     * @return the answer
     */
    public static native int setOperationState(long module, long session, byte[] state, long encryptionKey,
            long authenticationKey);

    /**
     * Functions of one number.
     *
     * @param module the module's id
     * @param function {@code C_CloseSession}, {@code C_CloseAllSessions} (the number is the slot), {@code C_Logout},
     *        {@code C_GetFunctionStatus}, {@code C_CancelFunction}, {@code C_FindObjectsFinal} or
     *        one of the four that end messages
     * @param number the session, or the slot
     * @return the answer
     */
    public static native int number(long module, int function, long number);

    /**
     * Functions of a session and a number.
     *
     * @param module the module's id
     * @param function {@code C_SessionCancel} (flags), {@code C_DestroyObject} or {@code C_DigestKey} (object)
     * @param session the session
     * @param number the flags, or the object
     * @return the answer
     */
    public static native int numbers(long module, int function, long session, long number);

    // --- Functions by their shapes: functions_operations.cpp

    /**
     * Functions that take bytes.
     *
     * @param module the module's id
     * @param function {@code C_InitPIN}, {@code C_DigestUpdate}, {@code C_SignUpdate}, {@code C_VerifyUpdate}, {@code
     *        C_VerifyFinal} or {@code C_SeedRandom}
     * @param session the session
     * @param in the array that has the bytes, or null
     * @param off where they begin
     * @param len how many there are
     * @return the answer
     */
    public static native int bytes(long module, int function, long session, byte[] in, int off, int len);

    /**
     * Functions that take bytes, out of a direct buffer.
     *
     * @param module the module's id
     * @param function as {@link #bytes}
     * @param session the session
     * @param in the buffer that has the bytes
     * @param off where they begin, from the buffer's first byte
     * @param len how many there are
     * @return the answer
     */
    public static native int bytesDirect(long module, int function, long session, ByteBuffer in, int off, int len);

    /**
     * Functions that take two ranges of bytes.
     *
     * @param module the module's id
     * @param function {@code C_SetPIN} or {@code C_Verify}
     * @param session the session
     * @param one the array that has the first bytes, or null
     * @param oneOff where they begin
     * @param oneLen how many there are
     * @param other the array that has the second bytes, or null
     * @param otherOff where they begin
     * @param otherLen how many there are
     * @return the answer
     */
    public static native int twoBytes(long module, int function, long session, byte[] one, int oneOff, int oneLen,
            byte[] other, int otherOff, int otherLen);

    /**
     * Functions that take two ranges of bytes, the first out of a direct buffer.
     *
     * @param module the module's id
     * @param function as {@link #twoBytes}
     * @param session the session
     * @param one the buffer that has the first bytes
     * @param oneOff where they begin, from the buffer's first byte
     * @param oneLen how many there are
     * @param other the array that has the second bytes, or null
     * @param otherOff where they begin
     * @param otherLen how many there are
     * @return the answer
     */
    public static native int twoBytesDirect(long module, int function, long session, ByteBuffer one, int oneOff,
            int oneLen, byte[] other, int otherOff, int otherLen);

    /**
     * {@code C_GenerateRandom}.
     *
     * @param module the module's id
     * @param function {@code C_GenerateRandom}
     * @param session the session
     * @param out the array that receives the bytes
     * @param off where they go
     * @param len how many there are to be
     * @return the answer
     */
    public static native int fill(long module, int function, long session, byte[] out, int off, int len);

    /**
     * {@code C_GenerateRandom}, into a direct buffer.
     *
     * @param module the module's id
     * @param function as {@link #fill}
     * @param session the session
     * @param out the buffer that receives the bytes
     * @param off where they go, from the buffer's first byte
     * @param len how many there are to be
     * @return the answer
     */
    public static native int fillDirect(long module, int function, long session, ByteBuffer out, int off, int len);

    /**
     * Functions that take bytes and give bytes.
     *
     * @param module the module's id
     * @param function {@code C_Encrypt}, {@code C_EncryptUpdate}, {@code C_Decrypt}, {@code C_DecryptUpdate}, {@code
     *        C_Digest}, {@code C_Sign}, {@code C_SignRecover}, {@code C_VerifyRecover} or one of the four dual updates
     * @param session the session
     * @param in the array that has the input, or null
     * @param inOff where it begins
     * @param inLen how many bytes it has
     * @param out the array that receives the output; null asks for the length. It may be the one of the input
     * @param outOff where the output goes
     * @param outLen how much room there is
     * @return how many bytes of output there are, or a failure
     */
    public static native long process(long module, int function, long session, byte[] in, int inOff, int inLen,
            byte[] out, int outOff, int outLen);

    /**
     * Functions that take bytes and give bytes, from one direct buffer to another one.
     *
     * @param module the module's id
     * @param function as {@link #process}
     * @param session the session
     * @param in the buffer that has the input
     * @param inOff where it begins, from the buffer's first byte
     * @param inLen how many bytes it has
     * @param out the buffer that receives the output; null asks for the length
     * @param outOff where the output goes, from the buffer's first byte
     * @param outLen how much room there is
     * @return how many bytes of output there are, or a failure
     */
    public static native long processDirect(long module, int function, long session, ByteBuffer in, int inOff,
            int inLen, ByteBuffer out, int outOff, int outLen);

    /**
     * Functions that give bytes.
     *
     * @param module the module's id
     * @param function {@code C_EncryptFinal}, {@code C_DecryptFinal}, {@code C_DigestFinal}, {@code C_SignFinal} or
     *        {@code C_GetOperationState}
     * @param session the session
     * @param out the array that receives the output; null asks for the length
     * @param outOff where the output goes
     * @param outLen how much room there is
     * @return how many bytes of output there are, or a failure
     */
    public static native long output(long module, int function, long session, byte[] out, int outOff, int outLen);

    /**
     * Functions that give bytes, into a direct buffer.
     *
     * @param module the module's id
     * @param function as {@link #output}
     * @param session the session
     * @param out the buffer that receives the output; null asks for the length
     * @param outOff where the output goes, from the buffer's first byte
     * @param outLen how much room there is
     * @return how many bytes of output there are, or a failure
     */
    public static native long outputDirect(long module, int function, long session, ByteBuffer out, int outOff,
            int outLen);

    /**
     * Functions that begin an operation without a key.
     *
     * @param module the module's id
     * @param function {@code C_DigestInit}
     * @param session the session
     * @param mechanism the mechanism type
     * @param parameter the parameter as a {@link Structure} in a direct buffer that is kept, or null
     * @return the answer
     */
    public static native int init(long module, int function, long session, long mechanism, ByteBuffer parameter);

    /**
     * Functions that begin an operation with a key.
     *
     * @param module the module's id
     * @param function {@code C_EncryptInit}, {@code C_DecryptInit}, {@code C_SignInit}, {@code C_SignRecoverInit},
     *         {@code C_VerifyInit}, {@code C_VerifyRecoverInit} or one of the four of messages
     * @param session the session
     * @param mechanism the mechanism type
     * @param parameter the parameter as a {@link Structure} in a direct buffer that is kept, or null
     * @param key the key
     * @return the answer
     */
    public static native int keyedInit(long module, int function, long session, long mechanism, ByteBuffer parameter,
            long key);

    // --- Functions by their shapes: functions_messages.cpp

    /**
     * Functions that encrypt or decrypt a message. The parameter of a message is held as that of an operation, until
     * the message has ended.
     *
     * @param module the module's id
     * @param function {@code C_EncryptMessage} or {@code C_DecryptMessage}
     * @param session the session
     * @param parameter the message's parameter as a {@link Structure} in a direct buffer that is kept, or null
     * @param aad the data that is authenticated and not encrypted, or null
     * @param in the array that has the input, or null
     * @param inOff where it begins
     * @param inLen how many bytes it has
     * @param out the array that receives the output; null asks for the length
     * @param outOff where the output goes
     * @param outLen how much room there is
     * @return how many bytes of output there are, or a failure
     */
    public static native long message(long module, int function, long session, ByteBuffer parameter, byte[] aad,
            byte[] in, int inOff, int inLen, byte[] out, int outOff, int outLen);

    /**
     * Functions that begin to encrypt or decrypt a message of several parts.
     *
     * @param module the module's id
     * @param function {@code C_EncryptMessageBegin} or {@code C_DecryptMessageBegin}
     * @param session the session
     * @param parameter the message's parameter as a {@link Structure} in a direct buffer that is kept, or null
     * @param aad the data that is authenticated and not encrypted, or null
     * @return the answer
     */
    public static native int messageBegin(long module, int function, long session, ByteBuffer parameter, byte[] aad);

    /**
     * Functions that encrypt or decrypt a part of a message.
     *
     * @param module the module's id
     * @param function {@code C_EncryptMessageNext} or {@code C_DecryptMessageNext}
     * @param session the session
     * @param parameter the message's parameter, laid anew into the same buffer
     * @param in the array that has the part, or null
     * @param inOff where it begins
     * @param inLen how many bytes it has
     * @param out the array that receives the output; null asks for the length
     * @param outOff where the output goes
     * @param outLen how much room there is
     * @param flags {@code CKF_END_OF_MESSAGE} for the last part, else 0
     * @return how many bytes of output there are, or a failure
     */
    public static native long messagePart(long module, int function, long session, ByteBuffer parameter, byte[] in,
            int inOff, int inLen, byte[] out, int outOff, int outLen, long flags);

    /**
     * Functions that begin to sign or verify a message of several parts.
     *
     * @param module the module's id
     * @param function {@code C_SignMessageBegin} or {@code C_VerifyMessageBegin}
     * @param session the session
     * @param parameter the message's parameter as a {@link Structure} in a direct buffer that is kept, or null
     * @return the answer
     */
    public static native int signedBegin(long module, int function, long session, ByteBuffer parameter);

    /**
     * {@code C_SignMessage}.
     *
     * @param module the module's id
     * @param function {@code C_SignMessage}
     * @param session the session
     * @param parameter the message's parameter as a {@link Structure} in a direct buffer that is kept, or null
     * @param in the array that has the message, or null
     * @param inOff where it begins
     * @param inLen how many bytes it has
     * @param out the array that receives the signature; null asks for the length
     * @param outOff where the signature goes
     * @param outLen how much room there is
     * @return how many bytes the signature has, or a failure
     */
    public static native long signMessage(long module, int function, long session, ByteBuffer parameter, byte[] in,
            int inOff, int inLen, byte[] out, int outOff, int outLen);

    /**
     * {@code C_SignMessageNext}.
     *
     * @param module the module's id
     * @param function {@code C_SignMessageNext}
     * @param session the session
     * @param parameter the message's parameter, laid anew into the same buffer
     * @param in the array that has the part, or null
     * @param inOff where it begins
     * @param inLen how many bytes it has
     * @param out the array that receives the signature; null when this is not the last part
     * @param outOff where the signature goes
     * @param outLen how much room there is
     * @return how many bytes the signature has, or a failure
     */
    public static native long signPart(long module, int function, long session, ByteBuffer parameter, byte[] in,
            int inOff, int inLen, byte[] out, int outOff, int outLen);

    /**
     * Functions that verify a message, or a part of it.
     *
     * @param module the module's id
     * @param function {@code C_VerifyMessage} or {@code C_VerifyMessageNext}
     * @param session the session
     * @param parameter the message's parameter; for a part laid anew into the same buffer
     * @param in the array that has the message or the part, or null
     * @param inOff where it begins
     * @param inLen how many bytes it has
     * @param signature the signature; null for a part that is not the last one
     * @return the answer
     */
    public static native int verifyMessage(long module, int function, long session, ByteBuffer parameter, byte[] in,
            int inOff, int inLen, byte[] signature);

    // --- Functions by their shapes: functions_objects.cpp

    /**
     * {@code C_CreateObject}.
     *
     * @param module the module's id
     * @param session the session
     * @param template the template as a {@link Structure}
     * @param object receives the object
     * @return the answer
     */
    public static native int create(long module, long session, byte[] template, long[] object);

    /**
     * {@code C_CopyObject}.
     *
     * @param module the module's id
     * @param session the session
     * @param object the object
     * @param template the template as a {@link Structure}
     * @param copy receives the copy
     * @return the answer
     */
    public static native int copy(long module, long session, long object, byte[] template, long[] copy);

    /**
     * Functions that read or change attributes.
     *
     * @param module the module's id
     * @param function {@code C_GetAttributeValue} or {@code C_SetAttributeValue}
     * @param session the session
     * @param object the object
     * @param template the template as a {@link Structure}; one that comes back has the values and lengths
     * @return the answer
     */
    public static native int attributes(long module, int function, long session, long object, byte[] template);

    /**
     * {@code C_FindObjectsInit}.
     *
     * @param module the module's id
     * @param session the session
     * @param template the template as a {@link Structure}
     * @return the answer
     */
    public static native int findInit(long module, long session, byte[] template);

    /**
     * {@code C_FindObjects}.
     *
     * @param module the module's id
     * @param session the session
     * @param objects receives the objects
     * @return how many there are, or a failure
     */
    public static native long find(long module, long session, long[] objects);

    // --- Functions by their shapes: functions_keys.cpp

    /**
     * {@code C_GenerateKey}.
     *
     * @param module the module's id
     * @param session the session
     * @param mechanism the mechanism type
     * @param parameter the parameter as a {@link Structure}, or null
     * @param template the template as a {@link Structure}
     * @param key receives the key
     * @return the answer
     */
    public static native int generateKey(long module, long session, long mechanism, byte[] parameter, byte[] template,
            long[] key);

    /**
     * {@code C_GenerateKeyPair}.
     *
     * @param module the module's id
     * @param session the session
     * @param mechanism the mechanism type
     * @param parameter the parameter as a {@link Structure}, or null
     * @param publicTemplate the public key's template as a {@link Structure}
     * @param privateTemplate the private key's template as a {@link Structure}
     * @param keys receives the public and the private key
     * @return the answer
     */
    public static native int generateKeyPair(long module, long session, long mechanism, byte[] parameter,
            byte[] publicTemplate, byte[] privateTemplate, long[] keys);

    /**
     * {@code C_WrapKey}.
     *
     * @param module the module's id
     * @param session the session
     * @param mechanism the mechanism type
     * @param parameter the parameter as a {@link Structure}, or null
     * @param wrappingKey the key to wrap with
     * @param key the key to wrap
     * @param out the array that receives the wrapped key, all of which is room; null asks for the length
     * @return how many bytes of output there are, or a failure
     */
    public static native long wrapKey(long module, long session, long mechanism, byte[] parameter, long wrappingKey,
            long key, byte[] out);

    /**
     * {@code C_UnwrapKey}.
     *
     * @param module the module's id
     * @param session the session
     * @param mechanism the mechanism type
     * @param parameter the parameter as a {@link Structure}, or null
     * @param unwrappingKey the key to unwrap with
     * @param wrapped the array that has the wrapped key
     * @param off where it begins
     * @param len how many bytes it has
     * @param template the template as a {@link Structure}
     * @param key receives the key
     * @return the answer
     */
    public static native int unwrapKey(long module, long session, long mechanism, byte[] parameter, long unwrappingKey,
            byte[] wrapped, int off, int len, byte[] template, long[] key);

    /**
     * {@code C_DeriveKey}.
     *
     * @param module the module's id
     * @param session the session
     * @param mechanism the mechanism type
     * @param parameter the parameter as a {@link Structure}, or null
     * @param baseKey the key to derive from
     * @param template the template as a {@link Structure}, or null for a mechanism that makes no key of its own
     * @param key receives the key
     * @return the answer
     */
    public static native int deriveKey(long module, long session, long mechanism, byte[] parameter, long baseKey,
            byte[] template, long[] key);
}
