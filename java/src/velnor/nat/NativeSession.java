package velnor.nat;

import quadrel.Pkcs11Session;
import velnor.Attribute;
import velnor.CryptokiObject;
import velnor.Mechanism;
import velnor.SessionInfo;
import velnor.Slot;

/**
 * An open session, and the native methods that work in it. Those without a {@code hSession} argument take the session
 * from this object.
 *
 * <p>An operation (encryption, signature, ...) lives in the session. The flag {@code bInit} starts it in the same call;
 * when the module refuses that, the exception names the {@code Init} function, and nothing else is done.
 */
public final class NativeSession implements Pkcs11Session {
    private final long m_sessionHandle;
    private final Slot slot;
    private final ThreadLocal<NativeObject> derived = new ThreadLocal<>();

    /**
     * Makes the object for an open session; {@link NativeSlot#J_OpenSession(int)} opens one.
     *
     * @param slot the slot on whose token the session is open
     * @param sessionHandle the low 32 bits of the module's handle; widened with its sign whenever the module is called
     */
    public NativeSession(Slot slot, int sessionHandle) {
        this.slot = slot;
        m_sessionHandle = sessionHandle;
    }

    /**
     * Tells on which slot's token the session is open.
     *
     * @return the slot that the session was opened on
     */
    public Slot slot() {
        return slot;
    }

    /**
     * Tells the session's handle, for the methods that take it as an argument.
     *
     * @return the handle, negative when bit 31 is set; a session whose handle does not fit 31 bits cannot be used
     */
    public long sessionHandle() {
        return m_sessionHandle;
    }

    /** Keeps what a derivation made until the thread that derived it asks for it. */
    void keepDerivedObject(NativeObject object) {
        derived.set(object);
    }

    /**
     * Gives the key that {@link #J_DeriveKey} derived last in this session and thread, once.
     *
     * @return the key, or null when there is none or it has been taken
     */
    public NativeObject takeDerivedObject() {
        NativeObject object = derived.get();
        derived.remove();
        return object;
    }

    @Override
    public String toString() {
        return "NativeSession[" + m_sessionHandle + " on " + slot + "]";
    }

    // --- Slots: administration.cpp

    /**
     * Sets the user's PIN; the security officer must be logged in. An empty PIN is refused.
     *
     * @param pin the PIN; the token is given its modified UTF-8 form
     */
    public native void J_InitPIN(String pin);

    /**
     * Changes the PIN of whoever is logged in. An empty PIN is refused.
     *
     * @param oldPin the PIN so far
     * @param newPin the PIN from now on
     */
    public native void J_SetPIN(String oldPin, String newPin);

    // --- Sessions: sessions.cpp

    /** Closes the session. The object keeps its handle, which the module no longer knows. */
    public native void J_CloseSession();

    /**
     * Tells the session's state.
     *
     * @return the information
     */
    public native SessionInfo J_GetSessionInfo();

    // --- Sessions: login.cpp

    /**
     * Logs in, for all sessions with this token.
     *
     * <p>A login that exists already is an exception (0x100).
     *
     * @param userType 0 the security officer, 1 the user, 2 the user once more for one operation ({@code CKU_})
     * @param pin the PIN; the token is given its modified UTF-8 form
     */
    public native void J_Login(byte userType, String pin);

    /** Logs out, for all sessions with this token. */
    public native void J_Logout();

    // --- Sessions: operation_state.cpp

    /**
     * Saves the state of the session's operation.
     *
     * @return the state, which only the module understands
     */
    public native byte[] J_GetOperationState();

    /**
     * Restores a saved state.
     *
     * @param operationState a state that {@link #J_GetOperationState()} gave
     * @param encryptionKey the key of a restored encryption or decryption, 0 for none
     * @param authenticationKey the key of a restored signature or verification, 0 for none
     */
    public native void J_SetOperationState(byte[] operationState, long encryptionKey, long authenticationKey);

    // --- Sessions: parallel_functions.cpp

    /**
     * Asks for the status of a function that runs in parallel. Modules have had none since PKCS#11 2.01 and answer
     * {@code CKR_FUNCTION_NOT_PARALLEL} (0x51), which is thrown.
     */
    public native void J_GetFunctionStatus();

    /** Cancels a function that runs in parallel; see {@link #J_GetFunctionStatus()}. */
    public native void J_CancelFunction();

    // --- Objects: objects.cpp

    /**
     * Creates an object.
     *
     * @param template what the object is to be; null is an empty template
     * @return the new object's handle
     */
    public native long J_CreateObject(Attribute[] template);

    /**
     * Copies an object.
     *
     * @param oldObject the handle of the object to copy
     * @param template what is to be different in the copy; null is an empty template
     * @return the new object's handle
     */
    public native long J_CopyObject(long oldObject, Attribute[] template);

    /**
     * Destroys an object.
     *
     * @param object the object's handle
     */
    public native void J_DestroyObject(long object);

    /**
     * Tells how much memory an object takes on the token.
     *
     * @param object the object's handle
     * @return the number of bytes, -1 when the token does not tell
     */
    public native int J_GetObjectSize(long object);

    // --- Objects: attribute_access.cpp

    /**
     * Reads one attribute. Every refusal is an exception.
     *
     * @param object the object's handle
     * @param attribute the attribute type ({@code CKA_})
     * @return the attribute; its value is null for a type that is not converted (see {@link Attribute})
     */
    public native Attribute J_GetAttributeValue(long object, int attribute);

    /**
     * Reads attributes, one by one. A type that the object does not have reads as null; every other refusal, such
     * as that of a sensitive attribute, is an exception and nothing is returned.
     *
     * @param object the object's handle
     * @param attributes the attribute types ({@code CKA_}) to read; null counts as none
     * @return one attribute for each type, in that order
     */
    public native Attribute[] J_GetAttributeValue(long object, int[] attributes);

    /**
     * Changes attributes of an object.
     *
     * @param object the object's handle
     * @param template the attributes to change; null is an empty template
     */
    public native void J_SetAttributeValue(long object, Attribute[] template);

    // --- Objects: search.cpp

    /**
     * Finds objects.
     *
     * @param template what the objects must have; null or empty matches every object
     * @return the handles of all objects that match, in the module's order, or <strong>null when none does</strong>
     */
    public native long[] J_FindObjects(Attribute[] template);

    /**
     * Finds objects and reads attributes of each. An attribute that cannot be read, for whatever reason, has a null
     * value.
     *
     * @param template what the objects must have; null or empty matches every object
     * @param attributes the attribute types ({@code CKA_}) to read, perhaps none; null is refused when something is
     *        found
     * @return all objects that match, in the module's order, or <strong>null when none does</strong>
     */
    public native CryptokiObject[] J_FindObjects(Attribute[] template, int[] attributes);

    // --- Cryptographic operations: encryption.cpp

    /**
     * Encrypts a part of the data.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @return the encrypted part, perhaps empty
     */
    public native byte[] J_EncryptUpdate(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data,
            int dataOff, int dataLen);

    /**
     * Encrypts a part of the data into the caller's array. It is told how much room the array has behind the offset
     * and refuses when that is too little.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param enc the array for the encrypted data; null asks for the length
     * @param encOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_EncryptUpdate(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data,
            int dataOff, int dataLen, byte[] enc, int encOff);

    /**
     * Encrypts in one part.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @return the encrypted data
     */
    public native byte[] J_Encrypt(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data,
            int dataOff, int dataLen);

    /**
     * Encrypts in one part into the caller's array. It is told how much room the array has behind the offset and
     * refuses when that is too little.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param enc the array for the encrypted data; null asks for the length
     * @param encOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_Encrypt(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data, int dataOff,
            int dataLen, byte[] enc, int encOff);

    /**
     * Ends an encryption in several parts.
     *
     * @return the last encrypted part, perhaps empty
     */
    public native byte[] J_EncryptFinal();

    /**
     * Ends an encryption in several parts, into the caller's array. It is told how much room the array has behind
     * the offset and refuses when that is too little.
     *
     * @param enc the array for the encrypted data; null asks for the length
     * @param encOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_EncryptFinal(byte[] enc, int encOff);

    // --- Cryptographic operations: decryption.cpp

    /**
     * Starts a decryption.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param mechanism the mechanism
     * @param hKey the key's handle
     */
    public native void J_DecryptInit(long hSession, Mechanism mechanism, long hKey);

    /**
     * Decrypts a part of the data.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param enc the encrypted data
     * @param encOff where the encrypted data begins in its array
     * @param encLen how many bytes of encrypted data there are
     * @return the decrypted part, perhaps empty
     */
    public native byte[] J_DecryptUpdate(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] enc,
            int encOff, int encLen);

    /**
     * Decrypts a part of the data into the caller's array. It is told how much room the array has behind the offset
     * and refuses when that is too little.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param enc the encrypted data
     * @param encOff where the encrypted data begins in its array
     * @param encLen how many bytes of encrypted data there are
     * @param data the array for the data; null asks for the length
     * @param dataOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_DecryptUpdate(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] enc,
            int encOff, int encLen, byte[] data, int dataOff);

    /**
     * Decrypts in one part.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param enc the encrypted data
     * @param encOff where the encrypted data begins in its array
     * @param encLen how many bytes of encrypted data there are
     * @return the data
     */
    public native byte[] J_Decrypt(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] enc, int encOff,
            int encLen);

    /**
     * Ends a decryption in several parts.
     *
     * @return the last decrypted part, perhaps empty
     */
    public native byte[] J_DecryptFinal();

    /**
     * Ends a decryption in several parts, into the caller's array. It is told how much room the array has behind
     * the offset and refuses when that is too little.
     *
     * @param data the array for the data; null asks for the length
     * @param dataOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_DecryptFinal(byte[] data, int dataOff);

    // --- Cryptographic operations: digesting.cpp

    /**
     * Adds the value of a secret key to a digest.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the digest first, with the mechanism
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle
     */
    public native void J_DigestKey(long hSession, boolean bInit, Mechanism mechanism, long hKey);

    /**
     * Adds a part of the data to a digest.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param part the data
     * @param off where the data begins in its array
     * @param len how many bytes of data there are
     */
    public native void J_DigestUpdate(long hSession, boolean bInit, Mechanism mechanism, byte[] part, int off, int len);

    /**
     * Digests in one part. <strong>There is room for 20 bytes</strong>: a longer digest, such as SHA-256, is
     * refused by the module with {@code CKR_BUFFER_TOO_SMALL} (0x150); use the other form, or several parts.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param data the data; null is for the module to judge
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @return the digest
     */
    public native byte[] J_Digest(long hSession, boolean bInit, Mechanism mechanism, byte[] data, int dataOff,
            int dataLen);

    /**
     * Digests in one part into the caller's array. It is told how much room the array has behind the offset and
     * refuses when that is too little.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param data the data; null is for the module to judge
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param digest the array for the digest; null asks for the length
     * @param digestOff where the digest is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_Digest(long hSession, boolean bInit, Mechanism mechanism, byte[] data, int dataOff, int dataLen,
            byte[] digest, int digestOff);

    /**
     * Ends a digest in several parts.
     *
     * @return the digest
     */
    public native byte[] J_DigestFinal();

    /**
     * Ends a digest in several parts, into the caller's array. It is told how much room the array has behind the
     * offset and refuses when that is too little.
     *
     * <p><strong>Ends the JVM when it fails with an output array</strong>; see {@link velnor.nat}.
     *
     * @param digest the array for the digest; null asks for the length
     * @param off where the digest is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_DigestFinal(byte[] digest, int off);

    // --- Cryptographic operations: signing.cpp

    /**
     * Starts a signature.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param mechanism the mechanism
     * @param hKey the key's handle
     */
    public native void J_SignInit(long hSession, Mechanism mechanism, long hKey);

    /**
     * Adds a part of the data to a signature.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     */
    public native void J_SignUpdate(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data,
            int dataOff, int dataLen);

    /**
     * Signs in one part. The module is asked for the length first.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @return the signature
     */
    public native byte[] J_Sign(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data, int dataOff,
            int dataLen);

    /**
     * Signs in one part into the caller's array. It is told how much room the array has behind the offset and
     * refuses when that is too little.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param sign the array for the signature; null asks for the length
     * @param signOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_Sign(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data, int dataOff,
            int dataLen, byte[] sign, int signOff);

    /**
     * Ends a signature in several parts.
     *
     * @return the signature
     */
    public native byte[] J_SignFinal();

    /**
     * Ends a signature in several parts, into the caller's array. It is told how much room the array has behind the
     * offset and refuses when that is too little.
     *
     * @param sign the array for the signature; null asks for the length
     * @param signOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_SignFinal(byte[] sign, int signOff);

    /**
     * Starts a signature from which the data can be recovered.
     *
     * @param mechanism the mechanism
     * @param hKey the key's handle
     */
    public native void J_SignRecoverInit(Mechanism mechanism, long hKey);

    /**
     * Signs data that can be recovered from the signature.
     *
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @return the signature
     */
    public native byte[] J_SignRecover(byte[] data, int dataOff, int dataLen);

    /**
     * Signs data that can be recovered from the signature, into the caller's array. It is told how much room the
     * array has behind the offset and refuses when that is too little.
     *
     * <p><strong>Ends the JVM when it fails with an output array</strong>; see {@link velnor.nat}.
     *
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param signature the array for the signature; null asks for the length
     * @param signOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_SignRecover(byte[] data, int dataOff, int dataLen, byte[] signature, int signOff);

    // --- Cryptographic operations: verification.cpp

    /**
     * Adds a part of the data to a verification.
     *
     * <p><strong>A null {@code part} ends the JVM</strong>; see {@link velnor.nat}.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param part the data
     * @param partOff where the data begins in its array
     * @param partLen how many bytes of data there are
     */
    public native void J_VerifyUpdate(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] part,
            int partOff, int partLen);

    /**
     * Verifies in one part. Returning means that the signature is valid. {@code CKR_SIGNATURE_INVALID} (0xC0) says
     * that it is not valid.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bInit whether to start the operation first, with the mechanism and the key
     * @param mechanism the mechanism; not looked at unless the operation is started
     * @param hKey the key's handle; not looked at unless the operation is started
     * @param data the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param signature the signature
     * @param signOff where the signature begins in its array
     * @param signLen how many bytes the signature has
     */
    public native void J_Verify(long hSession, boolean bInit, Mechanism mechanism, long hKey, byte[] data, int dataOff,
            int dataLen, byte[] signature, int signOff, int signLen);

    /**
     * Ends a verification in several parts. Returning means that the signature is valid. {@code
     * CKR_SIGNATURE_INVALID} (0xC0) says that it is not valid.
     *
     * <p>Each call leaves a copy of the signature behind in native memory.
     *
     * @param signature the signature
     * @param signOff where the signature begins in its array
     * @param signLen how many bytes the signature has
     */
    public native void J_VerifyFinal(byte[] signature, int signOff, int signLen);

    /**
     * Starts a verification that recovers the data.
     *
     * @param mechanism the mechanism
     * @param hKey the key's handle
     */
    public native void J_VerifyRecoverInit(Mechanism mechanism, long hKey);

    /**
     * Verifies a signature and recovers its data. {@code CKR_SIGNATURE_INVALID} (0xC0) says that it is not valid.
     *
     * @param sign the signature
     * @param signOff where the signature begins in its array
     * @param signLen how many bytes the signature has
     * @return the data
     */
    public native byte[] J_VerifyRecover(byte[] sign, int signOff, int signLen);

    /**
     * Verifies a signature and recovers its data into the caller's array. It is told how much room the array has
     * behind the offset and refuses when that is too little.
     *
     * <p><strong>Ends the JVM when it fails with an output array</strong>; see {@link velnor.nat}.
     *
     * @param signature the signature
     * @param signOff where the signature begins in its array
     * @param signLen how many bytes the signature has
     * @param data the array for the data; null asks for the length
     * @param dataOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_VerifyRecover(byte[] signature, int signOff, int signLen, byte[] data, int dataOff);

    // --- Cryptographic operations: dual_functions.cpp

    /**
     * Decrypts a part and adds what comes out to a digest; both operations must have been started. It is told how
     * much room the array has behind the offset and refuses when that is too little.
     *
     * <p><strong>Ends the JVM when it fails with an output array</strong>; see {@link velnor.nat}.
     *
     * @param encryptedPart the encrypted data
     * @param encOff where the encrypted data begins in its array
     * @param encLen how many bytes of encrypted data there are
     * @param dataPart the array for the data; null asks for the length
     * @param dataOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_DecryptDigestUpdate(byte[] encryptedPart, int encOff, int encLen, byte[] dataPart, int dataOff);

    /**
     * Adds a part to a digest and encrypts it; both operations must have been started. It is told how much room the
     * array has behind the offset and refuses when that is too little.
     *
     * <p><strong>Ends the JVM when it fails with an output array</strong>; see {@link velnor.nat}.
     *
     * @param dataPart the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param encryptedPart the array for the encrypted data; null asks for the length
     * @param encOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_DigestEncryptUpdate(byte[] dataPart, int dataOff, int dataLen, byte[] encryptedPart,
            int encOff);

    /**
     * Adds a part to a signature and encrypts it; both operations must have been started. It is told how much room
     * the array has behind the offset and refuses when that is too little.
     *
     * <p><strong>Ends the JVM when it fails with an output array</strong>; see {@link velnor.nat}.
     *
     * @param dataPart the data
     * @param dataOff where the data begins in its array
     * @param dataLen how many bytes of data there are
     * @param encryptedPart the array for the encrypted data; null asks for the length
     * @param encOff where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_SignEncryptUpdate(byte[] dataPart, int dataOff, int dataLen, byte[] encryptedPart, int encOff);

    /**
     * Decrypts a part and adds what comes out to a verification; both operations must have been started. It is told
     * how much room the array has behind the offset and refuses when that is too little.
     *
     * <p><strong>Ends the JVM when it fails with an output array</strong>; see {@link velnor.nat}.
     *
     * @param encryptedPart the encrypted data
     * @param encOff where the encrypted data begins in its array
     * @param encLen how many bytes of encrypted data there are
     * @param part the array for the data; null asks for the length
     * @param off where the output is to begin in the array
     * @return the number of bytes written, or needed when the array is null
     */
    public native int J_DecryptVerifyUpdate(byte[] encryptedPart, int encOff, int encLen, byte[] part, int off);

    // --- Cryptographic operations: random.cpp

    /**
     * Fills a region of an array with random bytes from the token.
     *
     * <p>A token that refuses the seed throws under the name {@code J_SeedRandom}, and no bytes are made. A null
     * seed throws under that name too, but the bytes have been made.
     *
     * @param hSession the session's handle, all 64 bits of it; that of this object is {@link #sessionHandle()}
     * @param bSeed whether to mix the seed into the token's generator first
     * @param seed the seed, all of it; not looked at without {@code bSeed}
     * @param random the array to fill
     * @param randOff where to begin in the array
     * @param randLen how many bytes to make
     */
    public native void J_GenerateRandom(long hSession, boolean bSeed, byte[] seed, byte[] random, int randOff,
            int randLen);

    // --- Keys: key_generation.cpp

    /**
     * Generates a secret key, or domain parameters.
     *
     * @param mechanism the mechanism
     * @param keyTemplate what the key is to be; null is an empty template
     * @return the new object's handle
     */
    public native long J_GenerateKey(Mechanism mechanism, Attribute[] keyTemplate);

    /**
     * Generates a key pair.
     *
     * @param mechanism the mechanism
     * @param publicTemplate what the public key is to be; null is an empty template
     * @param privateTemplate what the private key is to be; null is an empty template
     * @return the handles of the public key and of the private key, in this order
     */
    public native long[] J_GenerateKeyPair(Mechanism mechanism, Attribute[] publicTemplate,
            Attribute[] privateTemplate);

    // --- Keys: key_wrapping.cpp

    /**
     * Encrypts a key under another one.
     *
     * @param mechanism the mechanism
     * @param wrappingKey the handle of the key to wrap with
     * @param keyToBeWrapped the handle of the key to wrap
     * @return the wrapped key
     */
    public native byte[] J_WrapKey(Mechanism mechanism, long wrappingKey, long keyToBeWrapped);

    /**
     * Makes a key out of a wrapped one.
     *
     * <p>Each call leaves a copy of the wrapped key behind in native memory.
     *
     * @param mechanism the mechanism
     * @param unwrappingKey the handle of the key to unwrap with
     * @param wrappedKey the wrapped key
     * @param off where the wrapped key begins in its array
     * @param len how many bytes it has
     * @param template what the key is to be; null is an empty template
     * @return the new key's handle
     */
    public native long J_UnwrapKey(Mechanism mechanism, long unwrappingKey, byte[] wrappedKey, int off, int len,
            Attribute[] template);

    // --- Keys: key_derivation.cpp

    /**
     * Derives a key. <strong>The result is not the key's handle</strong>: after a success, {@link
     * #takeDerivedObject()} in the same thread gives it.
     *
     * @param mechanism the mechanism
     * @param baseKey the handle of the key to derive from
     * @param template what the key is to be; null is an empty template
     * @return the number of attributes in the template
     */
    public native long J_DeriveKey(Mechanism mechanism, long baseKey, Attribute[] template);
}
