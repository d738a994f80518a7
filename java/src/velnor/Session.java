package velnor;

import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

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
    /** More than any operation state is long. */
    private static final int MOST_STATE = 1 << 24;
    /** How often an operation state is asked for that has grown since its length was told. */
    private static final int STATE_TRIES = 5;

    private final SessionHandle handle;
    private final KeyManagement keys;

    Session(SessionHandle handle) {
        this.handle = handle;
        keys = new KeyManagement(this, handle);
    }

    /**
     * Tells with which token the session is open.
     *
     * @return the token's slot
     */
    public TokenSlot slot() {
        return handle.slot();
    }

    /**
     * Tells the session's state.
     *
     * @return the information
     */
    public SessionInfo info() {
        byte[] structure = new byte[InfoStructure.SESSION_INFO];
        handle.require(Function.GET_SESSION_INFO, (module, session) -> NativeFunctions.information(module,
                Function.GET_SESSION_INFO.index(), session, 0, structure));
        return InfoStructure.sessionInfo(structure);
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
     * Logs the user in, with a PIN that never becomes a string.
     *
     * @param pin the user's PIN, which is left as it is; null for a reader with a PIN pad ({@code
     *        CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types it
     * @throws CryptokiException when the token refuses; {@code CKR_USER_ALREADY_LOGGED_IN} after a login in any session
     */
    public void login(char[] pin) {
        login(UserType.USER, pin);
    }

    /**
     * Logs in. The JVM keeps the string that holds the PIN until it collects it; the copies are wiped.
     *
     * @param userType who logs in
     * @param pin the PIN
     * @throws CryptokiException when the token refuses; {@code CKR_USER_ALREADY_LOGGED_IN} after a login in any session
     */
    public void login(UserType userType, String pin) {
        Objects.requireNonNull(userType, "userType");
        try (Pin encoded = Pin.of(pin)) {
            login(userType, encoded);
        }
    }

    /**
     * Logs in, with a PIN that never becomes a string.
     *
     * @param userType who logs in
     * @param pin the PIN, which is left as it is; null for a reader with a PIN pad ({@code
     *        CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types it
     * @throws CryptokiException when the token refuses; {@code CKR_USER_ALREADY_LOGGED_IN} after a login in any session
     */
    public void login(UserType userType, char[] pin) {
        Objects.requireNonNull(userType, "userType");
        try (Pin encoded = Pin.of(pin)) {
            login(userType, encoded);
        }
    }

    private void login(UserType userType, Pin pin) {
        handle.require(Function.LOGIN,
                (module, session) -> NativeFunctions.login(module, session, userType.code(), pin.bytes()));
    }

    /**
     * Logs in a user of several that a token has (PKCS#11 3.0).
     *
     * @param userType who logs in
     * @param pin the PIN, which is left as it is; null for a reader with a PIN pad ({@code
     *        CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types it
     * @param userName the user's name
     * @throws CryptokiException when the token refuses; {@code CKR_FUNCTION_NOT_SUPPORTED} from a module before 3.0
     */
    public void loginUser(UserType userType, char[] pin, String userName) {
        Objects.requireNonNull(userType, "userType");
        byte[] name = Checks.text(userName, "user name");
        try (Pin encoded = Pin.of(pin)) {
            handle.require(Function.LOGIN_USER, (module, session) -> NativeFunctions.loginUser(module, session,
                    userType.code(), encoded.bytes(), name));
        }
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
        try (Pin encoded = Pin.of(pin)) {
            return loginIfNeeded(encoded);
        }
    }

    /**
     * Logs the user in unless that has happened, in whichever session. A PIN is then not looked at: for a check of the
     * PIN log out first.
     *
     * @param pin the user's PIN, which is left as it is; null for a reader with a PIN pad ({@code
     *        CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types it
     * @return whether this call logged in
     * @throws CryptokiException when the token refuses, also ({@code CKR_USER_ANOTHER_ALREADY_LOGGED_IN}) while the
     *         security officer is logged in
     */
    public boolean loginIfNeeded(char[] pin) {
        try (Pin encoded = Pin.of(pin)) {
            return loginIfNeeded(encoded);
        }
    }

    private boolean loginIfNeeded(Pin pin) {
        try {
            login(UserType.USER, pin);
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
        number(Function.LOGOUT);
    }

    /**
     * Sets the user's PIN; the security officer must be logged in.
     *
     * @param pin the user's PIN from now on
     */
    public void initPIN(String pin) {
        try (Pin encoded = Pin.of(pin)) {
            initPIN(encoded);
        }
    }

    /**
     * Sets the user's PIN; the security officer must be logged in.
     *
     * @param pin the user's PIN from now on, which is left as it is; null for a reader with a PIN pad ({@code
     *        CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types it
     */
    public void initPIN(char[] pin) {
        try (Pin encoded = Pin.of(pin)) {
            initPIN(encoded);
        }
    }

    private void initPIN(Pin pin) {
        handle.require(Function.INIT_PIN, (module, session) -> NativeFunctions.bytes(module,
                Function.INIT_PIN.index(), session, pin.bytes(), 0, pin.length()));
    }

    /**
     * Changes the PIN of whoever is logged in, or the user's.
     *
     * @param oldPin the PIN so far
     * @param newPin the PIN from now on
     */
    public void setPIN(String oldPin, String newPin) {
        try (Pin encodedOld = Pin.of(oldPin); Pin encodedNew = Pin.of(newPin)) {
            setPIN(encodedOld, encodedNew);
        }
    }

    /**
     * Changes the PIN of whoever is logged in, or the user's.
     *
     * @param oldPin the PIN so far, which is left as it is; null, as is the other one, for a reader with a PIN pad
     *        ({@code CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types both
     * @param newPin the PIN from now on, which is left as it is, or null
     */
    public void setPIN(char[] oldPin, char[] newPin) {
        try (Pin encodedOld = Pin.of(oldPin); Pin encodedNew = Pin.of(newPin)) {
            setPIN(encodedOld, encodedNew);
        }
    }

    private void setPIN(Pin oldPin, Pin newPin) {
        handle.require(Function.SET_PIN, (module, session) -> NativeFunctions.twoBytes(module,
                Function.SET_PIN.index(), session, oldPin.bytes(), 0, oldPin.length(), newPin.bytes(), 0,
                newPin.length()));
    }

    /**
     * Creates an object. {@link ObjectTemplates} makes templates of the JDK's keys and certificates.
     *
     * @param template what it is to be
     * @return the object
     * @throws IllegalArgumentException when a key of the standard's would not be complete
     */
    public TokenObject createObject(Attribute... template) {
        return keys.create(template);
    }

    /**
     * Finds objects.
     *
     * @param template what they must have; nothing matches every object
     * @return all objects that match, in the module's order, perhaps none
     */
    public List<TokenObject> find(Attribute... template) {
        return new ObjectSearch(this, handle).find(template);
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
                    + Long.toUnsignedString(slot().id()));
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
     * @throws CryptokiException when the token has no generator ({@code CKR_RANDOM_NO_RNG}); the part is blank then
     */
    public void random(byte[] random, int off, int len) {
        Objects.checkFromIndexSize(off, len, random.length);
        boolean filled = false;
        try {
            handle.<Void>call((module, session) -> {
                for (int done = 0; done < len; done += RANDOM_PART) {
                    Answers.require(Function.GENERATE_RANDOM, NativeFunctions.fill(module,
                            Function.GENERATE_RANDOM.index(), session, random, off + done,
                            Math.min(RANDOM_PART, len - done)));
                }
                return null;
            });
            filled = true;
        } finally {
            if (!filled) {
                Arrays.fill(random, off, off + len, (byte) 0);
            }
        }
    }

    /**
     * Fills a buffer with random bytes. A direct one is filled where it lies.
     *
     * @param random what remains in it is filled; nothing remains afterwards
     * @throws CryptokiException when the token has no generator ({@code CKR_RANDOM_NO_RNG}); the buffer stands where it
     *         stood then, and what remains in it is blank
     */
    public void random(ByteBuffer random) {
        if (random.isReadOnly()) {
            throw new java.nio.ReadOnlyBufferException();
        }
        int begin = random.position();
        boolean filled = false;
        try {
            if (random.hasArray()) {
                random(random.array(), random.arrayOffset() + begin, random.remaining());
            } else {
                handle.<Void>call((module, session) -> {
                    for (int at = begin; at < random.limit(); at += RANDOM_PART) {
                        Answers.require(Function.GENERATE_RANDOM, NativeFunctions.fillDirect(module,
                                Function.GENERATE_RANDOM.index(), session, random, at,
                                Math.min(RANDOM_PART, random.limit() - at)));
                    }
                    return null;
                });
            }
            filled = true;
            random.position(random.limit());
        } finally {
            for (int at = begin; !filled && at < random.limit(); at++) {
                random.put(at, (byte) 0);
            }
        }
    }

    /**
     * Mixes bytes into the token's generator.
     *
     * @param seed the bytes
     * @throws CryptokiException when the token takes no seed ({@code CKR_RANDOM_SEED_NOT_SUPPORTED} from {@code
     *         J_SeedRandom})
     */
    public void seedRandom(byte[] seed) {
        Objects.requireNonNull(seed, "seed");
        handle.require(Function.SEED_RANDOM, (module, session) -> NativeFunctions.bytes(module,
                Function.SEED_RANDOM.index(), session, seed, 0, seed.length));
    }

    /**
     * Generates a secret key, or domain parameters.
     *
     * @param mechanism how
     * @param template what the key is to be
     * @return the key
     */
    public TokenObject generateKey(Mechanism mechanism, Attribute... template) {
        return keys.generate(mechanism, template);
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
        return keys.generatePair(mechanism, publicTemplate, privateTemplate);
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
        return keys.wrap(mechanism, wrappingKey, key);
    }

    /**
     * Makes a key out of a wrapped one.
     *
     * @param mechanism how
     * @param unwrappingKey the key to unwrap with
     * @param wrapped the wrapped key
     * @param template what the key is to be
     * @return the key
     * @throws IllegalArgumentException when a key of the standard's has come out incomplete; none stays on the token
     */
    public TokenObject unwrapKey(Mechanism mechanism, TokenObject unwrappingKey, byte[] wrapped,
            Attribute... template) {
        return unwrapKey(mechanism, unwrappingKey, wrapped, 0, wrapped.length, template);
    }

    /**
     * Makes a key out of a wrapped one.
     *
     * @param mechanism how
     * @param unwrappingKey the key to unwrap with
     * @param wrapped the array with the wrapped key
     * @param off where the wrapped key begins
     * @param len how many bytes it has
     * @param template what the key is to be
     * @return the key
     * @throws IllegalArgumentException when a key of the standard's has come out incomplete; none stays on the token
     */
    public TokenObject unwrapKey(Mechanism mechanism, TokenObject unwrappingKey, byte[] wrapped, int off, int len,
            Attribute... template) {
        return keys.unwrap(mechanism, unwrappingKey, wrapped, off, len, template);
    }

    /**
     * Derives a key.
     *
     * @param mechanism how; {@code CKM_SSL3_KEY_AND_MAC_DERIVE} and its like, which make several keys, give their
     *        handles through the mechanism's parameter
     * @param baseKey the key to derive from
     * @param template what the key is to be
     * @return the key; for a mechanism that makes several keys an object that is none
     * @throws CryptokiException when the token refuses
     * @throws IllegalArgumentException when a key of the standard's has come out incomplete; none stays on the token
     */
    public TokenObject deriveKey(Mechanism mechanism, TokenObject baseKey, Attribute... template) {
        return keys.derive(mechanism, baseKey, template);
    }

    /**
     * Saves the state of the session's operation, which goes on. A state is a value of this process: it holds as long
     * as the module stays open, in every session with the token, and is worth nothing anywhere else.
     *
     * @return the state, which only the module understands, and a seal
     * @throws CryptokiException when the token does not save it ({@code CKR_STATE_UNSAVEABLE}), or there is none
     */
    public byte[] operationState() {
        return handle.call((module, session) -> operationState(module, session, handle.module().stateSeal()));
    }

    private static byte[] operationState(long module, long session, StateSeal seal) {
        int index = Function.GET_OPERATION_STATE.index();
        long needed = Answers.require(Function.GET_OPERATION_STATE,
                NativeFunctions.output(module, index, session, null, 0, 0));
        for (int triesLeft = STATE_TRIES;; triesLeft--) {
            if (needed > MOST_STATE) {
                throw Answers.nonsense(Function.GET_OPERATION_STATE, "the pkcs#11 library tells of a state of "
                        + needed + " bytes");
            }
            byte[] state = new byte[(int) needed];
            try {
                long result = NativeFunctions.output(module, index, session, state, 0, state.length);
                if (result >= 0 || triesLeft == 1 || NativeFunctions.needed(result) <= state.length) {
                    return seal.sealed(state, (int) Answers.require(Function.GET_OPERATION_STATE, result));
                }
                needed = NativeFunctions.needed(result);
            } finally {
                Arrays.fill(state, (byte) 0);
            }
        }
    }

    /**
     * Restores a saved operation that needs no key, such as a digest. An operation of its kind, made with the same
     * mechanism, goes on with it after {@link Digester#resume()}; until that one has ended, the restored operation
     * keeps the token from beginning another. Nobody checks that the mechanism is the same.
     *
     * @param state a state that {@link #operationState()} gave
     * @throws CryptokiException when the token refuses, or the state is not one that this module gave since it was
     *         opened ({@code CKR_SAVED_STATE_INVALID}; the token is not asked then)
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
     * @throws CryptokiException when the token refuses, or the state is not one that this module gave since it was
     *         opened ({@code CKR_SAVED_STATE_INVALID}; the token is not asked then)
     */
    public void setOperationState(byte[] state, TokenObject encryptionKey, TokenObject authenticationKey) {
        Objects.requireNonNull(state, "state");
        handle.requireOpen();
        long encryption = encryptionKey == null ? CK.INVALID_HANDLE : handle.usable(encryptionKey);
        long authentication = authenticationKey == null ? CK.INVALID_HANDLE : handle.usable(authenticationKey);
        byte[] opened = handle.module().stateSeal().opened(state);
        try {
            handle.require(Function.SET_OPERATION_STATE, (module, session) -> NativeFunctions.setOperationState(module,
                    session, opened, encryption, authentication));
        } finally {
            Arrays.fill(opened, (byte) 0);
        }
    }

    /**
     * Asks for the status of a function that runs in parallel.
     *
     * @throws CryptokiException always, by the standard ({@code CKR_FUNCTION_NOT_PARALLEL}): no function runs so since
     *         version 2.01
     */
    public void functionStatus() {
        number(Function.GET_FUNCTION_STATUS);
    }

    /**
     * Cancels a function that runs in parallel.
     *
     * @throws CryptokiException always, by the standard ({@code CKR_FUNCTION_NOT_PARALLEL}): no function runs so since
     *         version 2.01
     */
    public void cancelFunction() {
        number(Function.CANCEL_FUNCTION);
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
     * Signs in one part with a key that may ask for its PIN each time ({@link TokenObject#asksForPinEachTime()}). With
     * a key that does not, the PIN is not looked at.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param pin the user's PIN, which is left as it is; null for a reader with a PIN pad ({@code
     *        CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types it
     * @param data the data
     * @return the signature
     * @throws CryptokiException when the token refuses
     */
    public byte[] sign(Mechanism mechanism, TokenObject key, char[] pin, byte[] data) {
        Objects.requireNonNull(data, "data");
        try (Signer signer = signer(mechanism, key)) {
            if (key.asksForPinEachTime()) {
                signer.start();
                login(UserType.CONTEXT_SPECIFIC, pin);
            }
            return signer.sign(data);
        }
    }

    /**
     * Decrypts in one part with a key that may ask for its PIN each time ({@link TokenObject#asksForPinEachTime()}).
     * With a key that does not, the PIN is not looked at.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @param pin the user's PIN, which is left as it is; null for a reader with a PIN pad ({@code
     *        CKF_PROTECTED_AUTHENTICATION_PATH}), where the user types it
     * @param encrypted the encrypted data
     * @return the data
     * @throws CryptokiException when the token refuses
     */
    public byte[] decrypt(Mechanism mechanism, TokenObject key, char[] pin, byte[] encrypted) {
        Objects.requireNonNull(encrypted, "encrypted");
        try (Decryptor decryptor = decryptor(mechanism, key)) {
            if (key.asksForPinEachTime()) {
                decryptor.start();
                login(UserType.CONTEXT_SPECIFIC, pin);
            }
            return decryptor.finish(encrypted);
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
        try (Recovery recovery = Recovery.signing(handle, mechanism, key)) {
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
        try (Recovery recovery = Recovery.verifying(handle, mechanism, key)) {
            return recovery.finish(signature, off, len);
        }
    }

    /**
     * Prepares the encryption of any number of messages. It begins in the token with its first call.
     *
     * @param mechanism the mechanism, without a parameter: each message has one
     * @param key the key
     * @return the operation
     */
    public MessageEncryptor messageEncryptor(Mechanism mechanism, TokenObject key) {
        return new MessageEncryptor(handle, mechanism, key);
    }

    /**
     * Prepares the decryption of any number of messages. It begins in the token with its first call.
     *
     * @param mechanism the mechanism, without a parameter: each message has one
     * @param key the key
     * @return the operation
     */
    public MessageDecryptor messageDecryptor(Mechanism mechanism, TokenObject key) {
        return new MessageDecryptor(handle, mechanism, key);
    }

    /**
     * Prepares the signatures of any number of messages. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public MessageSigner messageSigner(Mechanism mechanism, TokenObject key) {
        return new MessageSigner(handle, mechanism, key);
    }

    /**
     * Prepares the verification of any number of messages. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public MessageVerifier messageVerifier(Mechanism mechanism, TokenObject key) {
        return new MessageVerifier(handle, mechanism, key);
    }

    /**
     * Prepares an encryption in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Encryptor encryptor(Mechanism mechanism, TokenObject key) {
        return new Encryptor(handle, mechanism, key);
    }

    /**
     * Prepares a decryption in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Decryptor decryptor(Mechanism mechanism, TokenObject key) {
        return new Decryptor(handle, mechanism, key);
    }

    /**
     * Prepares a signature or a MAC in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Signer signer(Mechanism mechanism, TokenObject key) {
        return new Signer(handle, mechanism, key);
    }

    /**
     * Prepares a verification in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @param key the key
     * @return the operation
     */
    public Verifier verifier(Mechanism mechanism, TokenObject key) {
        return new Verifier(handle, mechanism, key);
    }

    /**
     * Prepares a digest in one part or several. It begins in the token with its first call.
     *
     * @param mechanism the mechanism
     * @return the operation
     */
    public Digester digester(Mechanism mechanism) {
        return new Digester(handle, mechanism);
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
     * <p>A token that does not have the one function that PKCS#11 has for both sees one update of each operation. In
     * any case it must allow the two operations beside each other in one session; one that does not answers with {@code
     * CKR_OPERATION_ACTIVE}.
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
        return Operation.update(Function.DIGEST_ENCRYPT_UPDATE, encryptor, digester, handle, data, off, len);
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
        return Operation.update(Function.SIGN_ENCRYPT_UPDATE, encryptor, signer, handle, data, off, len);
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
        return Operation.update(Function.DECRYPT_DIGEST_UPDATE, decryptor, digester, handle, encrypted, off, len);
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
        return Operation.update(Function.DECRYPT_VERIFY_UPDATE, decryptor, verifier, handle, encrypted, off, len);
    }

    /**
     * Closes the session. Closing a closed session, or one of a closed module, does nothing.
     *
     * @throws CryptokiException when the token refuses; the session counts as closed all the same
     */
    @Override
    public void close() {
        handle.close();
    }

    /**
     * Tells whether the session is open, as far as this process knows.
     *
     * @return false after it, its module or, through {@link TokenSlot}, all sessions with its token were closed
     */
    public boolean isOpen() {
        return handle.isOpen();
    }

    /** Fails unless the session is open. */
    void requireOpen() {
        handle.requireOpen();
    }

    private void number(Function function) {
        handle.require(function,
                (module, session) -> NativeFunctions.number(module, function.index(), session));
    }

    // ---- for the objects of the session

    /**
     * Reads or changes attributes.
     *
     * @return the module's answer; what comes back of the template does so after a refusal, too
     */
    int attributes(Function function, long object, byte[] template) {
        return handle.call((module, session) -> NativeFunctions.attributes(module, function.index(), session, object,
                template));
    }

    long copyObject(long object, byte[] template) {
        long[] copy = new long[1];
        handle.require(Function.COPY_OBJECT,
                (module, session) -> NativeFunctions.copy(module, session, object, template, copy));
        return copy[0];
    }

    void destroyObject(long object) {
        handle.require(Function.DESTROY_OBJECT, (module, session) -> NativeFunctions.numbers(module,
                Function.DESTROY_OBJECT.index(), session, object));
    }

    long objectSize(long object) {
        long[] size = new long[1];
        handle.require(Function.GET_OBJECT_SIZE,
                (module, session) -> NativeFunctions.objectSize(module, session, object, size));
        return size[0];
    }

    @Override
    public String toString() {
        return handle.toString();
    }
}
