package velnor;

import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.function.Consumer;
import java.util.function.Function;
import java.util.function.Supplier;
import java.util.stream.Collectors;

import velnor.nat.NativeObject;
import velnor.nat.NativeSession;

/**
 * An open session with a token.
 *
 * <p>The login belongs to the token: it holds for all sessions of this process. An operation in several parts belongs
 * to its session from its first call until it is finished, closed or refused; close what may not have been finished.
 * Most tokens allow one at a time in a session and refuse a second one ({@code CKR_OPERATION_ACTIVE}), some allow one
 * of each kind; so give each thread a session of its own.
 *
 * <p>Ranges are checked here: one that does not lie within its array is an {@link IndexOutOfBoundsException}.
 * A mechanism whose parameter is of the wrong class, or that is not for keys of the given key's type, is an {@link
 * IllegalArgumentException}.
 */
public final class Session implements AutoCloseable {
    /** What a token is asked for at once: NSS makes no more. */
    private static final int RANDOM_PART = 1 << 16;

    private final TokenSlot slot;
    private final NativeSession nat;
    /**
     * What goes on in the token, of each kind at most one as the standard has it: an operation that was begun in place
     * of another one, by a token that lets it, would go on with that one's data. Guards the operations, too.
     */
    private final Map<Class<?>, Operation> operations = new HashMap<>();
    /** Changed by {@link Calls#alone}. */
    private volatile boolean open = true;

    Session(TokenSlot slot, NativeSession nat) {
        this.slot = slot;
        this.nat = nat;
    }

    /**
     * Tells with which token the session is open.
     *
     * @return the token's slot
     */
    public TokenSlot slot() {
        return slot;
    }

    /**
     * Tells the session's state.
     *
     * @return the information
     */
    public SessionInfo info() {
        return call(NativeSession::J_GetSessionInfo);
    }

    /**
     * Logs the user in.
     *
     * @param pin the user's PIN
     * @throws CryptokiException when the token refuses; {@code CKR_USER_ALREADY_LOGGED_IN} after a login in any session
     */
    public void login(String pin) {
        login(UserType.USER, pin);
    }

    /**
     * Logs in. The JVM keeps the string that holds the PIN until it collects it; the native copies are wiped.
     *
     * @param userType who logs in
     * @param pin the PIN
     * @throws CryptokiException when the token refuses; {@code CKR_USER_ALREADY_LOGGED_IN} after a login in any session
     */
    public void login(UserType userType, String pin) {
        Objects.requireNonNull(userType, "userType");
        Checks.pin(pin);
        run(session -> session.J_Login(userType.code(), pin));
    }

    /**
     * Logs the user in unless that has happened, in whichever session. A PIN is then not looked at: for a check of the
     * PIN log out first.
     *
     * @param pin the user's PIN
     * @return whether this call logged in
     * @throws CryptokiException when the token refuses, also ({@code CKR_USER_ANOTHER_ALREADY_LOGGED_IN}) while the
     *         security officer is logged in
     */
    public boolean loginIfNeeded(String pin) {
        try {
            login(pin);
            return true;
        } catch (CryptokiException e) {
            if (e.code() == CKR.USER_ALREADY_LOGGED_IN) {
                return false;
            }
            throw e;
        }
    }

    /** Logs out, for all sessions with the token. */
    public void logout() {
        run(NativeSession::J_Logout);
    }

    /**
     * Sets the user's PIN; the security officer must be logged in.
     *
     * @param pin the user's PIN from now on
     */
    public void initPIN(String pin) {
        Checks.pin(pin);
        run(session -> session.J_InitPIN(pin));
    }

    /**
     * Changes the PIN of whoever is logged in, or the user's.
     *
     * @param oldPin the PIN so far
     * @param newPin the PIN from now on
     */
    public void setPIN(String oldPin, String newPin) {
        Checks.pin(oldPin);
        Checks.pin(newPin);
        run(session -> session.J_SetPIN(oldPin, newPin));
    }

    /**
     * Creates an object.
     *
     * @param template what it is to be
     * @return the object
     */
    public TokenObject createObject(Attribute... template) {
        Attribute[] checked = Templates.checked(template);
        return object(call(session -> session.J_CreateObject(checked)));
    }

    /**
     * Finds objects. When the token fails in the middle of a search, the search stays open in the session, and the
     * token refuses another one ({@code CKR_OPERATION_ACTIVE}) until the session is closed.
     *
     * @param template what they must have; nothing matches every object
     * @return all objects that match, in the module's order, perhaps none
     */
    public List<TokenObject> find(Attribute... template) {
        Attribute[] checked = Templates.checked(template);
        long[] handles = call(session -> session.J_FindObjects(checked));
        return handles == null ? List.of()
                : Arrays.stream(handles).mapToObj(this::object).collect(Collectors.toUnmodifiableList());
    }

    /**
     * Finds the one object that matches.
     *
     * @param template what it must have
     * @return the object
     * @throws IllegalArgumentException when none matches, or more than one does
     */
    public TokenObject findOne(Attribute... template) {
        List<TokenObject> found = find(template);
        if (found.size() != 1) {
            throw new IllegalArgumentException((found.isEmpty() ? "No object matches " : found.size()
                    + " objects match ") + Arrays.toString(template) + " on the token in slot "
                    + Integer.toUnsignedString(slot.slotID()));
        }
        return found.get(0);
    }

    /**
     * Finds any object that matches.
     *
     * @param template what it must have
     * @return the first in the module's order, or empty when none matches
     */
    public Optional<TokenObject> findFirst(Attribute... template) {
        return find(template).stream().findFirst();
    }

    /**
     * Stands for an object whose handle is known.
     *
     * @param handle all 64 bits of the handle
     * @return the object; the token is not asked
     */
    public TokenObject object(long handle) {
        return new TokenObject(this, handle);
    }

    /**
     * Makes random bytes.
     *
     * @param count how many
     * @return the bytes
     * @throws CryptokiException when the token has no generator ({@code CKR_RANDOM_NO_RNG})
     */
    public byte[] random(int count) {
        if (count < 0) {
            throw new IllegalArgumentException("A negative number of random bytes: " + count);
        }
        byte[] random = new byte[count];
        random(random, 0, count);
        return random;
    }

    /**
     * Fills a part of an array with random bytes.
     *
     * @param random the array
     * @param off where the part begins
     * @param len how many bytes it has
     * @throws CryptokiException when the token has no generator ({@code CKR_RANDOM_NO_RNG})
     */
    public void random(byte[] random, int off, int len) {
        Objects.checkFromIndexSize(off, len, random.length);
        byte[] part = new byte[Math.min(len, RANDOM_PART)];
        run(session -> {
            for (int done = 0; done < len; done += part.length) {
                int size = Math.min(part.length, len - done);
                session.J_GenerateRandom(session.sessionHandle(), false, null, part, 0, size);
                System.arraycopy(part, 0, random, off + done, size);
            }
        });
        Arrays.fill(part, (byte) 0);
    }

    /**
     * Mixes bytes into the token's generator. The token is asked for one random byte besides, which is dropped: the
     * native library seeds on the way to random bytes only.
     *
     * @param seed the bytes
     * @throws CryptokiException when the token takes no seed ({@code CKR_RANDOM_SEED_NOT_SUPPORTED} from {@code
     *         J_SeedRandom})
     */
    public void seedRandom(byte[] seed) {
        byte[] copy = seed.clone();
        run(session -> session.J_GenerateRandom(session.sessionHandle(), true, copy, new byte[1], 0, 1));
    }

    /**
     * Generates a secret key, or domain parameters.
     *
     * @param mechanism how
     * @param template what the key is to be
     * @return the key
     */
    public TokenObject generateKey(Mechanism mechanism, Attribute... template) {
        MechanismParameters.check(mechanism);
        Attribute[] checked = Templates.checked(template);
        return object(call(session -> session.J_GenerateKey(mechanism, checked)));
    }

    /**
     * Generates a key pair.
     *
     * @param mechanism how
     * @param publicTemplate what the public key is to be
     * @param privateTemplate what the private key is to be
     * @return the pair
     */
    public TokenKeyPair generateKeyPair(Mechanism mechanism, Attribute[] publicTemplate, Attribute[] privateTemplate) {
        MechanismParameters.check(mechanism);
        Attribute[] publicKey = Templates.checked(publicTemplate);
        Attribute[] privateKey = Templates.checked(privateTemplate);
        long[] pair = call(session -> session.J_GenerateKeyPair(mechanism, publicKey, privateKey));
        return new TokenKeyPair(object(pair[0]), object(pair[1]));
    }

    /**
     * Encrypts a key under another one.
     *
     * @param mechanism how
     * @param wrappingKey the key to wrap with
     * @param key the key to wrap
     * @return the wrapped key
     */
    public byte[] wrapKey(Mechanism mechanism, TokenObject wrappingKey, TokenObject key) {
        MechanismParameters.check(mechanism);
        long wrapping = handle(mechanism, wrappingKey);
        long wrapped = handle(key);
        return call(session -> session.J_WrapKey(mechanism, wrapping, wrapped));
    }

    /**
     * Makes a key out of a wrapped one. Each call costs native memory of the wrapped key's length, for good.
     *
     * @param mechanism how
     * @param unwrappingKey the key to unwrap with
     * @param wrapped the wrapped key
     * @param template what the key is to be
     * @return the key
     */
    public TokenObject unwrapKey(Mechanism mechanism, TokenObject unwrappingKey, byte[] wrapped,
            Attribute... template) {
        return unwrapKey(mechanism, unwrappingKey, wrapped, 0, wrapped.length, template);
    }

    /**
     * Makes a key out of a wrapped one. Each call costs native memory of the array's length, for good.
     *
     * @param mechanism how
     * @param unwrappingKey the key to unwrap with
     * @param wrapped the array with the wrapped key
     * @param off where the wrapped key begins
     * @param len how many bytes it has
     * @param template what the key is to be
     * @return the key
     */
    public TokenObject unwrapKey(Mechanism mechanism, TokenObject unwrappingKey, byte[] wrapped, int off, int len,
            Attribute... template) {
        MechanismParameters.check(mechanism);
        Objects.checkFromIndexSize(off, len, wrapped.length);
        long unwrapping = handle(mechanism, unwrappingKey);
        Attribute[] checked = Templates.checked(template);
        return object(call(session -> session.J_UnwrapKey(mechanism, unwrapping, wrapped, off, len, checked)));
    }

    /**
     * Derives a key.
     *
     * <p>The low 32 bits of its handle are all that comes back. Where they may not be the whole handle, every object of
     * the token is looked at for the one that they belong to.
     *
     * @param mechanism how; {@code CKM_SSL3_KEY_AND_MAC_DERIVE}, which makes several keys, is refused: neither do their
     *        handles come back, nor does the token get the random data that the keys depend on
     * @param baseKey the key to derive from
     * @param template what the key is to be
     * @return the key
     * @throws CryptokiException when the token refuses; with code {@code CKR_GENERAL_ERROR} and a text that says so
     *         when the key was made but cannot be told from others
     */
    public TokenObject deriveKey(Mechanism mechanism, TokenObject baseKey, Attribute... template) {
        MechanismParameters.check(mechanism);
        if (mechanism.mechanism() == CKM.SSL3_KEY_AND_MAC_DERIVE) {
            throw new IllegalArgumentException("CKM_SSL3_KEY_AND_MAC_DERIVE makes keys of zeroes in the place of the"
                    + " random data here, and their handles do not come back");
        }
        long base = handle(mechanism, baseKey);
        Attribute[] checked = Templates.checked(template);
        return object(call(session -> {
            session.J_DeriveKey(mechanism, base, checked);
            return DerivedKeys.handle(session, base);
        }));
    }

    /**
     * Saves the state of the session's operation, which goes on.
     *
     * @return the state, which only the module understands
     * @throws CryptokiException when the token does not save it ({@code CKR_STATE_UNSAVEABLE}), or there is none
     */
    public byte[] operationState() {
        return call(NativeSession::J_GetOperationState);
    }

    /**
     * Restores a saved operation that needs no key, such as a digest. An operation of its kind, made with the same
     * mechanism, goes on with it after {@link Digester#resume()}; until that one has ended, the restored operation
     * keeps the token from beginning another. Nobody checks that the mechanism is the same.
     *
     * @param state a state that {@link #operationState()} gave
     */
    public void setOperationState(byte[] state) {
        setOperationState(state, null, null);
    }

    /**
     * Restores a saved operation; {@link #setOperationState(byte[])} tells how it goes on.
     *
     * @param state a state that {@link #operationState()} gave
     * @param encryptionKey the key of an encryption or decryption, or null
     * @param authenticationKey the key of a signature or verification, or null
     */
    public void setOperationState(byte[] state, TokenObject encryptionKey, TokenObject authenticationKey) {
        byte[] copy = state.clone();
        long encryption = encryptionKey == null ? CK.INVALID_HANDLE : handle(encryptionKey);
        long authentication = authenticationKey == null ? CK.INVALID_HANDLE : handle(authenticationKey);
        run(session -> session.J_SetOperationState(copy, encryption, authentication));
    }

    /**
     * Asks for the status of a function that runs in parallel.
     *
     * @throws CryptokiException always, by the standard ({@code CKR_FUNCTION_NOT_PARALLEL}): no function runs so since
     *         version 2.01
     */
    public void functionStatus() {
        run(NativeSession::J_GetFunctionStatus);
    }

    /**
     * Cancels a function that runs in parallel.
     *
     * @throws CryptokiException always, by the standard ({@code CKR_FUNCTION_NOT_PARALLEL}): no function runs so since
     *         version 2.01
     */
    public void cancelFunction() {
        run(NativeSession::J_CancelFunction);
    }

    /**
     * Encrypts in one part.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the data
     * @return the encrypted data
     * @throws CryptokiException when the token refuses
     */
    public byte[] encrypt(Mechanism mechanism, TokenObject key, byte[] data) {
        return encrypt(mechanism, key, data, 0, data.length);
    }

    /**
     * Encrypts in one part.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the array that has the data
     * @param off where the data begins
     * @param len how many bytes there are
     * @return the encrypted data
     * @throws CryptokiException when the token refuses
     */
    public byte[] encrypt(Mechanism mechanism, TokenObject key, byte[] data, int off, int len) {
        try (Encryptor encryptor = encryptor(mechanism, key)) {
            return encryptor.finish(data, off, len);
        }
    }

    /**
     * Decrypts in one part.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param encrypted the encrypted data
     * @return the data
     * @throws CryptokiException when the token refuses
     */
    public byte[] decrypt(Mechanism mechanism, TokenObject key, byte[] encrypted) {
        return decrypt(mechanism, key, encrypted, 0, encrypted.length);
    }

    /**
     * Decrypts in one part.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param encrypted the array that has the encrypted data
     * @param off where the encrypted data begins
     * @param len how many bytes there are
     * @return the data
     * @throws CryptokiException when the token refuses
     */
    public byte[] decrypt(Mechanism mechanism, TokenObject key, byte[] encrypted, int off, int len) {
        try (Decryptor decryptor = decryptor(mechanism, key)) {
            return decryptor.finish(encrypted, off, len);
        }
    }

    /**
     * Signs, or makes a MAC, in one part.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the data
     * @return the signature
     * @throws CryptokiException when the token refuses
     */
    public byte[] sign(Mechanism mechanism, TokenObject key, byte[] data) {
        return sign(mechanism, key, data, 0, data.length);
    }

    /**
     * Signs, or makes a MAC, in one part.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the array that has the data
     * @param off where the data begins
     * @param len how many bytes there are
     * @return the signature
     * @throws CryptokiException when the token refuses
     */
    public byte[] sign(Mechanism mechanism, TokenObject key, byte[] data, int off, int len) {
        try (Signer signer = signer(mechanism, key)) {
            return signer.sign(data, off, len);
        }
    }

    /**
     * Verifies in one part: the signature must be valid for the data.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the data
     * @param signature the signature
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or
     *         {@code CKR_SIGNATURE_LEN_RANGE}), or the token refuses
     */
    public void verify(Mechanism mechanism, TokenObject key, byte[] data, byte[] signature) {
        verify(mechanism, key, data, 0, data.length, signature);
    }

    /**
     * Verifies in one part: the signature must be valid for the data.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the array that has the data
     * @param off where the data begins
     * @param len how many bytes there are
     * @param signature the signature
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or
     *         {@code CKR_SIGNATURE_LEN_RANGE}), or the token refuses
     */
    public void verify(Mechanism mechanism, TokenObject key, byte[] data, int off, int len, byte[] signature) {
        try (Verifier verifier = verifier(mechanism, key)) {
            verifier.verify(data, off, len, signature);
        }
    }

    /**
     * Verifies in one part: tells whether the signature is valid for the data. Every other answer of the token is an
     * exception, and never means that the signature is valid.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the data
     * @param signature the signature
     * @return whether it is valid; false for {@code CKR_SIGNATURE_INVALID} and {@code CKR_SIGNATURE_LEN_RANGE} only
     * @throws CryptokiException when the token answers anything else, as some do for a MAC that is not valid
     */
    public boolean isValid(Mechanism mechanism, TokenObject key, byte[] data, byte[] signature) {
        return isValid(mechanism, key, data, 0, data.length, signature);
    }

    /**
     * Verifies in one part: tells whether the signature is valid for the data. Every other answer of the token is an
     * exception, and never means that the signature is valid.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the array that has the data
     * @param off where the data begins
     * @param len how many bytes there are
     * @param signature the signature
     * @return whether it is valid; false for {@code CKR_SIGNATURE_INVALID} and {@code CKR_SIGNATURE_LEN_RANGE} only
     * @throws CryptokiException when the token answers anything else, as some do for a MAC that is not valid
     */
    public boolean isValid(Mechanism mechanism, TokenObject key, byte[] data, int off, int len, byte[] signature) {
        try (Verifier verifier = verifier(mechanism, key)) {
            return verifier.isValid(data, off, len, signature);
        }
    }

    /**
     * Digests in one part.
     *
     * @param mechanism the mechanism
     * @param data the data
     * @return the digest
     * @throws CryptokiException when the token refuses
     */
    public byte[] digest(Mechanism mechanism, byte[] data) {
        return digest(mechanism, data, 0, data.length);
    }

    /**
     * Digests in one part.
     *
     * @param mechanism the mechanism
     * @param data the array that has the data
     * @param off where the data begins
     * @param len how many bytes there are
     * @return the digest
     * @throws CryptokiException when the token refuses
     */
    public byte[] digest(Mechanism mechanism, byte[] data, int off, int len) {
        try (Digester digester = digester(mechanism)) {
            return digester.digest(data, off, len);
        }
    }

    /**
     * Digests the value of a secret key, which stays in the token.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the digest
     * @throws CryptokiException when the token refuses ({@code CKR_KEY_INDIGESTIBLE})
     */
    public byte[] digestKey(Mechanism mechanism, TokenObject key) {
        try (Digester digester = digester(mechanism)) {
            digester.digestKey(key);
            return digester.digest();
        }
    }

    /**
     * Signs so that the signature gives the data back.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the data
     * @return the signature
     * @throws CryptokiException when the token refuses
     */
    public byte[] signRecover(Mechanism mechanism, TokenObject key, byte[] data) {
        return signRecover(mechanism, key, data, 0, data.length);
    }

    /**
     * Signs so that the signature gives the data back.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param data the array that has the data
     * @param off where the data begins
     * @param len how many bytes there are
     * @return the signature
     * @throws CryptokiException when the token refuses
     */
    public byte[] signRecover(Mechanism mechanism, TokenObject key, byte[] data, int off, int len) {
        try (Recovery recovery = Recovery.signing(this, mechanism, key)) {
            return recovery.finish(data, off, len);
        }
    }

    /**
     * Verifies a signature that gives the data back.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param signature the signature
     * @return the data
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or
     *         {@code CKR_SIGNATURE_LEN_RANGE}), or the token refuses
     */
    public byte[] verifyRecover(Mechanism mechanism, TokenObject key, byte[] signature) {
        return verifyRecover(mechanism, key, signature, 0, signature.length);
    }

    /**
     * Verifies a signature that gives the data back.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param signature the array that has the signature
     * @param off where the signature begins
     * @param len how many bytes there are
     * @return the data
     * @throws CryptokiException when the signature is not valid ({@code CKR_SIGNATURE_INVALID} or
     *         {@code CKR_SIGNATURE_LEN_RANGE}), or the token refuses
     */
    public byte[] verifyRecover(Mechanism mechanism, TokenObject key, byte[] signature, int off, int len) {
        try (Recovery recovery = Recovery.verifying(this, mechanism, key)) {
            return recovery.finish(signature, off, len);
        }
    }

    /**
     * Prepares an encryption in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Encryptor encryptor(Mechanism mechanism, TokenObject key) {
        return new Encryptor(this, mechanism, key);
    }

    /**
     * Prepares a decryption in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Decryptor decryptor(Mechanism mechanism, TokenObject key) {
        return new Decryptor(this, mechanism, key);
    }

    /**
     * Prepares a signature or a MAC in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Signer signer(Mechanism mechanism, TokenObject key) {
        return new Signer(this, mechanism, key);
    }

    /**
     * Prepares a verification in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Verifier verifier(Mechanism mechanism, TokenObject key) {
        return new Verifier(this, mechanism, key);
    }

    /**
     * Prepares a digest in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @return the operation
     */
    public Digester digester(Mechanism mechanism) {
        return new Digester(this, mechanism);
    }

    /**
     * Adds the next part of the data to a digest, and encrypts it. Nothing else happens to the two meanwhile; {@link
     * #digestEncryptUpdate(Digester, Encryptor, byte[], int, int)} tells more.
     *
     * @param digester the digest
     * @param encryptor the encryption
     * @param data the part
     * @return the encrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] digestEncryptUpdate(Digester digester, Encryptor encryptor, byte[] data) {
        return digestEncryptUpdate(digester, encryptor, data, 0, data.length);
    }

    /**
     * Adds the next part of the data to a digest, and encrypts it. Nothing else happens to the two operations
     * meanwhile, and what fails one of them ends both, since they would be out of step.
     *
     * <p>The token sees one update of each operation, not the one call that PKCS#11 has for both: the native method for
     * that ends the JVM when the token refuses. So the token need not have that call, but it must allow the two
     * operations beside each other in one session; one that does not answers with {@code CKR_OPERATION_ACTIVE}.
     *
     * @param digester the digest
     * @param encryptor the encryption
     * @param data the array that has the part
     * @param off where the part begins
     * @param len how many bytes it has
     * @return the encrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] digestEncryptUpdate(Digester digester, Encryptor encryptor, byte[] data, int off, int len) {
        return collectAndEncrypt(digester, encryptor, data, off, len);
    }

    /**
     * Adds the next part of the data to a signature, and encrypts it. Nothing else happens to the two meanwhile; {@link
     * #digestEncryptUpdate(Digester, Encryptor, byte[], int, int)} tells more.
     *
     * @param signer the signature
     * @param encryptor the encryption
     * @param data the part
     * @return the encrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] signEncryptUpdate(Signer signer, Encryptor encryptor, byte[] data) {
        return signEncryptUpdate(signer, encryptor, data, 0, data.length);
    }

    /**
     * Adds the next part of the data to a signature, and encrypts it. Nothing else happens to the two meanwhile; {@link
     * #digestEncryptUpdate(Digester, Encryptor, byte[], int, int)} tells more.
     *
     * @param signer the signature
     * @param encryptor the encryption
     * @param data the array that has the part
     * @param off where the part begins
     * @param len how many bytes it has
     * @return the encrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] signEncryptUpdate(Signer signer, Encryptor encryptor, byte[] data, int off, int len) {
        return collectAndEncrypt(signer, encryptor, data, off, len);
    }

    /**
     * Decrypts the next part, and adds what comes out to a digest. Nothing else happens to the two meanwhile; {@link
     * #digestEncryptUpdate(Digester, Encryptor, byte[], int, int)} tells more.
     *
     * @param decryptor the decryption
     * @param digester the digest
     * @param encrypted the part
     * @return the decrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] decryptDigestUpdate(Decryptor decryptor, Digester digester, byte[] encrypted) {
        return decryptDigestUpdate(decryptor, digester, encrypted, 0, encrypted.length);
    }

    /**
     * Decrypts the next part, and adds what comes out to a digest. Nothing else happens to the two meanwhile; {@link
     * #digestEncryptUpdate(Digester, Encryptor, byte[], int, int)} tells more.
     *
     * @param decryptor the decryption
     * @param digester the digest
     * @param encrypted the array that has the part
     * @param off where the part begins
     * @param len how many bytes it has
     * @return the decrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] decryptDigestUpdate(Decryptor decryptor, Digester digester, byte[] encrypted, int off, int len) {
        return decryptAndCollect(decryptor, digester, encrypted, off, len);
    }

    /**
     * Decrypts the next part, and adds what comes out to a verification. Nothing else happens to the two meanwhile;
     * {@link #digestEncryptUpdate(Digester, Encryptor, byte[], int, int)} tells more.
     *
     * @param decryptor the decryption
     * @param verifier the verification
     * @param encrypted the part
     * @return the decrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] decryptVerifyUpdate(Decryptor decryptor, Verifier verifier, byte[] encrypted) {
        return decryptVerifyUpdate(decryptor, verifier, encrypted, 0, encrypted.length);
    }

    /**
     * Decrypts the next part, and adds what comes out to a verification. Nothing else happens to the two meanwhile;
     * {@link #digestEncryptUpdate(Digester, Encryptor, byte[], int, int)} tells more.
     *
     * @param decryptor the decryption
     * @param verifier the verification
     * @param encrypted the array that has the part
     * @param off where the part begins
     * @param len how many bytes it has
     * @return the decrypted part, as far as the token gives it out by now
     * @throws IllegalArgumentException when an operation belongs to another session
     */
    public byte[] decryptVerifyUpdate(Decryptor decryptor, Verifier verifier, byte[] encrypted, int off, int len) {
        return decryptAndCollect(decryptor, verifier, encrypted, off, len);
    }

    private byte[] collectAndEncrypt(CollectingOperation collecting, Encryptor encryptor, byte[] data, int off,
            int len) {
        Objects.checkFromIndexSize(off, len, data.length);
        return inStep(collecting, encryptor, () -> {
            collecting.update(data, off, len);
            return encryptor.update(data, off, len);
        });
    }

    private byte[] decryptAndCollect(Decryptor decryptor, CollectingOperation collecting, byte[] encrypted, int off,
            int len) {
        Objects.checkFromIndexSize(off, len, encrypted.length);
        return inStep(decryptor, collecting, () -> {
            try (Output output = new Output()) {
                output.add(decryptor.update(encrypted, off, len));
                output.forEach(collecting::update);
                return output.all();
            }
        });
    }

    private byte[] inStep(Operation one, Operation other, Supplier<byte[]> updates) {
        for (Operation operation : List.of(one, other)) {
            if (operation.session() != this) {
                throw new IllegalArgumentException(operation + " does not belong to " + this);
            }
        }
        return operate(session -> {
            one.requireUsable();
            other.requireUsable();
            try {
                return updates.get();
            } catch (RuntimeException | Error e) {
                one.close();
                other.close();
                throw e;
            }
        });
    }

    /** Calls the module for an operation; meanwhile nothing happens to the other operations of this session. */
    <T> T operate(Function<NativeSession, T> call) {
        return call(session -> {
            synchronized (operations) {
                return call.apply(session);
            }
        });
    }

    /** Does nothing when the session is closed, since its operations have ended with it. */
    void operateIfOpen(Consumer<NativeSession> call) {
        slot.cryptoki().calls().ordinary(() -> {
            if (isOpen()) {
                synchronized (operations) {
                    call.accept(nat);
                }
            }
            return null;
        });
    }

    /** Takes note of an operation that is about to start; called inside {@link #operate}. */
    void begin(Operation operation, NativeSession session) {
        Operation other = operations.get(operation.getClass());
        if (other != null && !other.isOver(session)) {
            throw new IllegalStateException(other + " is neither finished nor closed");
        }
        operations.put(operation.getClass(), operation);
    }

    /**
     * Closes the session. Closing a closed session, or one of a closed module, does nothing.
     *
     * @throws CryptokiException when the token refuses; the session counts as closed all the same
     */
    @Override
    public void close() {
        slot.cryptoki().calls().alone(() -> {
            if (isOpen()) {
                closed();
                nat.J_CloseSession();
            }
            return null;
        });
    }

    /** Takes note that the token knows the session no more. */
    void closed() {
        open = false;
        slot.cryptoki().sessions().remove(this);
    }

    /**
     * Tells whether the session is open, as far as this process knows.
     *
     * @return false after it, its module or, through {@link TokenSlot}, all sessions with its token were closed
     */
    public boolean isOpen() {
        return open && slot.cryptoki().isOpen();
    }

    NativeSession nat() {
        return nat;
    }

    /** Whether the two cannot be told apart by their handles. */
    boolean hasHandleOf(Session other) {
        return nat.sessionHandle() == other.nat.sessionHandle();
    }

    /** Calls the module with this session, which must be open. */
    <T> T call(Function<NativeSession, T> call) {
        return slot.cryptoki().call(module -> {
            requireOpen();
            return call.apply(nat);
        });
    }

    void requireOpen() {
        if (!isOpen()) {
            throw new IllegalStateException(this + " is closed");
        }
    }

    void run(Consumer<NativeSession> call) {
        this.<Void>call(session -> {
            call.accept(session);
            return null;
        });
    }

    /** The handle of a key that this session can use with the mechanism. */
    long handle(Mechanism mechanism, TokenObject key) {
        long handle = handle(key);
        KeyTypes.check(mechanism, key);
        return handle;
    }

    /**
     * The handle of a key that this session can use. The key's own session must be open: a session object ends with it,
     * and a module may give its handle to another object.
     */
    long handle(TokenObject key) {
        Objects.requireNonNull(key, "key");
        if (!key.session().slot().equals(slot)) {
            throw new IllegalArgumentException(key + " is not on the token of " + this);
        }
        key.session().requireOpen();
        return key.handle();
    }

    @Override
    public String toString() {
        return "Session[" + nat.sessionHandle() + " on " + slot + "]";
    }
}
