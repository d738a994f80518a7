package velnor.jca;

import java.lang.ref.Reference;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.KeyFactory;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.interfaces.RSAKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.InvalidParameterSpecException;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PKCS8EncodedKeySpec;
import java.security.spec.X509EncodedKeySpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;

import javax.crypto.AEADBadTagException;
import javax.crypto.BadPaddingException;
import javax.crypto.Cipher;
import javax.crypto.CipherSpi;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.NoSuchPaddingException;
import javax.crypto.SecretKey;
import javax.crypto.ShortBufferException;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;
import javax.crypto.spec.SecretKeySpec;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKO;
import velnor.CKR;
import velnor.CryptokiException;
import velnor.Decryptor;
import velnor.Encryptor;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenObject;
import velnor.jca.CipherAlgorithm.Parameter;
import velnor.params.CTRParams;
import velnor.params.GCMParams;
import velnor.params.OAEPParams;

/**
 * Ciphers. From the first block on a session is held until the end; GCM and RSA take everything in one call, so that no
 * plaintext comes out before its tag was verified, and no more than the key takes is collected.
 */
final class TokenCipher extends CipherSpi {
    private static final int BLOCK = 16;
    private static final int GCM_IV = 12;
    private static final int GCM_TAG_BITS = 128;

    /** What tokens answer to input that was not encrypted so, or was changed since. */
    private static final Set<Integer> BAD_INPUT = Set.of(CKR.ENCRYPTED_DATA_INVALID, CKR.ENCRYPTED_DATA_LEN_RANGE,
            CKR.AEAD_DECRYPT_FAILED, CKR.DATA_INVALID, CKR.DATA_LEN_RANGE, CKR.GENERAL_ERROR, CKR.FUNCTION_FAILED);

    private final Token token;
    private final CipherAlgorithm algorithm;
    private final Held held;
    private final Collected collected = new Collected();
    private final Collected associated = new Collected();
    private TokenKey key;
    private int mode;
    private byte[] iv;
    private int tagBits;
    private OAEPParameterSpec oaep;
    private int modulusLength;
    /** GCM has encrypted with this vector, which must not happen again. */
    private boolean used;
    private TokenKey usedKey;
    private byte[] usedIv;
    /** What goes on in the token: one of these. */
    private Encryptor encryptor;
    private Decryptor decryptor;
    /** How much went into the token and has not come out. */
    private int inside;
    /** A result for which there was no room. */
    private byte[] undelivered;

    TokenCipher(Token token, CipherAlgorithm algorithm) {
        this.token = token;
        this.algorithm = algorithm;
        held = new Held(token);
        Token.CLEANER.register(this, held);
    }

    // ---- beginning

    @Override
    protected void engineSetMode(String given) throws NoSuchAlgorithmException {
        throw new NoSuchAlgorithmException("The whole transformation is needed: " + algorithm.javaName());
    }

    @Override
    protected void engineSetPadding(String given) throws NoSuchPaddingException {
        throw new NoSuchPaddingException("The whole transformation is needed: " + algorithm.javaName());
    }

    @Override
    protected void engineInit(int opmode, Key given, SecureRandom random) throws InvalidKeyException {
        try {
            engineInit(opmode, given, (AlgorithmParameterSpec) null, random);
        } catch (InvalidAlgorithmParameterException e) {
            throw new InvalidKeyException(e.getMessage(), e);
        }
    }

    @Override
    protected void engineInit(int opmode, Key given, AlgorithmParameters parameters, SecureRandom random)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        try {
            engineInit(opmode, given, parameters == null ? null : parameters.getParameterSpec(specOf()), random);
        } catch (InvalidParameterSpecException e) {
            throw new InvalidAlgorithmParameterException(e.getMessage(), e);
        }
    }

    private Class<? extends AlgorithmParameterSpec> specOf() {
        return algorithm.parameter() == Parameter.GCM ? GCMParameterSpec.class
                : algorithm.parameter() == Parameter.OAEP ? OAEPParameterSpec.class : IvParameterSpec.class;
    }

    @Override
    protected void engineInit(int opmode, Key given, AlgorithmParameterSpec spec, SecureRandom random)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        reset();
        key = null;
        undelivered = null;
        mode = opmode;
        checkKey(given);
        takeParameters(spec, random);
        key = TokenKeys.usable(token, given, uses(given));
        modulusLength = given instanceof RSAKey ? (((RSAKey) given).getModulus().bitLength() + 7) / 8 : 0;
        if (algorithm == CipherAlgorithm.AES_GCM && isEncrypting()) {
            if (usedKey != null && usedKey.equals(key) && Arrays.equals(usedIv, iv)) {
                key = null;
                throw new InvalidAlgorithmParameterException(
                        "This key has encrypted with this vector: GCM needs another");
            }
            used = false;
        }
    }

    private boolean isEncrypting() {
        return mode == Cipher.ENCRYPT_MODE || mode == Cipher.WRAP_MODE;
    }

    private void checkKey(Key given) throws InvalidKeyException {
        if (given == null || !given.getAlgorithm().equals(algorithm.keyAlgorithm())) {
            throw new InvalidKeyException(algorithm.javaName() + " takes keys of " + algorithm.keyAlgorithm()
                    + (given == null ? "" : ", not of " + given.getAlgorithm()));
        }
        if (algorithm.isRsa() && (isEncrypting() ? !(given instanceof PublicKey) : !(given instanceof PrivateKey))) {
            throw new InvalidKeyException("RSA encrypts with the public and decrypts with the private key");
        }
        if (!algorithm.isRsa() && !(given instanceof SecretKey)) {
            throw new InvalidKeyException("AES takes a secret key");
        }
    }

    private Attribute[] uses(Key given) {
        List<Attribute> uses = new ArrayList<>(given instanceof PublicKey ? Uses.ofPublicKey(algorithm.keyAlgorithm())
                : given instanceof PrivateKey ? Uses.ofPrivateKey(algorithm.keyAlgorithm())
                : Uses.ofSecretKey(algorithm.keyAlgorithm()));
        uses.addAll(given instanceof PublicKey ? List.of(new Attribute(CKA.TOKEN, false)) : Uses.KEPT_INSIDE);
        return uses.toArray(new Attribute[0]);
    }

    private void takeParameters(AlgorithmParameterSpec spec, SecureRandom random)
            throws InvalidAlgorithmParameterException {
        iv = null;
        oaep = null;
        switch (algorithm.parameter()) {
            case NONE:
                require(spec == null, "takes no parameters");
                return;
            case OAEP:
                require(spec == null || spec instanceof OAEPParameterSpec, "takes an OAEPParameterSpec");
                takeOaep((OAEPParameterSpec) spec);
                return;
            case GCM:
                tagBits = GCM_TAG_BITS;
                if (spec instanceof GCMParameterSpec) {
                    iv = ((GCMParameterSpec) spec).getIV();
                    tagBits = ((GCMParameterSpec) spec).getTLen();
                    require(iv.length > 0, "needs a vector of 12 bytes for preference");
                    require(tagBits >= 96 && tagBits <= GCM_TAG_BITS && tagBits % 8 == 0,
                            "has tags of 96 to 128 bits, not of " + tagBits);
                } else {
                    makeIv(spec, random, GCM_IV, "a GCMParameterSpec");
                }
                return;
            default:
                if (spec instanceof IvParameterSpec) {
                    iv = ((IvParameterSpec) spec).getIV();
                    require(iv.length == BLOCK, "takes a vector of " + BLOCK + " bytes, not of " + iv.length);
                } else {
                    makeIv(spec, random, BLOCK, "an IvParameterSpec");
                }
        }
    }

    private void takeOaep(OAEPParameterSpec spec) throws InvalidAlgorithmParameterException {
        // The mask's digest is SHA-1 whatever the name tells, as in the JDK.
        oaep = spec != null ? spec : new OAEPParameterSpec(algorithm.digest(), "MGF1", MGF1ParameterSpec.SHA1,
                PSource.PSpecified.DEFAULT);
        try {
            OAEPParams.of(oaep);
        } catch (IllegalArgumentException e) {
            throw new InvalidAlgorithmParameterException(e.getMessage(), e);
        }
    }

    private void makeIv(AlgorithmParameterSpec spec, SecureRandom random, int length, String wanted)
            throws InvalidAlgorithmParameterException {
        require(spec == null && isEncrypting(), "takes " + wanted);
        iv = new byte[length];
        (random == null ? new SecureRandom() : random).nextBytes(iv);
    }

    private void require(boolean sound, String text) throws InvalidAlgorithmParameterException {
        if (!sound) {
            throw new InvalidAlgorithmParameterException(algorithm.javaName() + ' ' + text);
        }
    }

    private Mechanism mechanism() {
        switch (algorithm.parameter()) {
            case IV:
                return new Mechanism(algorithm.mechanism(), iv);
            case COUNTER:
                return new Mechanism(algorithm.mechanism(), new CTRParams(iv));
            case GCM:
                return new Mechanism(algorithm.mechanism(), new GCMParams(iv, associated.toByteArray(), tagBits));
            case OAEP:
                return new Mechanism(algorithm.mechanism(), OAEPParams.of(oaep));
            default:
                return new Mechanism(algorithm.mechanism());
        }
    }

    // ---- data

    @Override
    protected void engineUpdateAAD(byte[] data, int off, int len) {
        if (algorithm != CipherAlgorithm.AES_GCM) {
            throw new IllegalStateException(algorithm.javaName() + " takes no associated data");
        }
        requireFresh();
        if (collected.size() > 0) {
            throw new IllegalStateException("The associated data belongs before the data");
        }
        associated.write(data, off, len);
    }

    private void requireFresh() {
        if (key == null) {
            throw new IllegalStateException("The cipher was not initialised");
        }
        if (used) {
            throw new IllegalStateException("This vector was used: GCM needs another for each message");
        }
    }

    @Override
    protected byte[] engineUpdate(byte[] data, int off, int len) {
        requireFresh();
        if (len == 0) {
            return null;
        }
        if (!algorithm.takesParts()) {
            collect(data, off, len);
            return null;
        }
        // Not every token keeps the beginning of a block by itself (NSS).
        int all = Math.addExact(collected.size(), len);
        int now = algorithm.takesWholeBlocks() ? all / BLOCK * BLOCK : all;
        inside += len;
        if (now == 0) {
            collected.write(data, off, len);
            return null;
        }
        try {
            start();
            byte[] out = pass(data, off, len, now);
            inside -= out.length;
            return out.length == 0 ? null : out;
        } catch (InvalidKeyException | RuntimeException e) {
            throw ended(e);
        } finally {
            Reference.reachabilityFence(key);
        }
    }

    /** Passes on what has waited and the data, of which the rest waits then. */
    private byte[] pass(byte[] data, int off, int len, int now) {
        byte[] input = data;
        int from = off;
        int rest = collected.size() + len - now;
        if (collected.size() > 0) {
            collected.write(data, off, len - rest);
            input = collected.toByteArray();
            from = 0;
            collected.wipe();
        }
        try {
            byte[] out = isEncrypting() ? encryptor.update(input, from, now) : decryptor.update(input, from, now);
            collected.write(data, off + len - rest, rest);
            return out;
        } finally {
            if (input != data) {
                Arrays.fill(input, (byte) 0);
            }
        }
    }

    /** RSA is told at the end that there was too much: what no key takes is not kept until then. */
    private void collect(byte[] data, int off, int len) {
        if (algorithm.isRsa() && modulusLength > 0 && collected.size() + len > modulusLength) {
            collected.write(data, off, Math.max(0, modulusLength + 1 - collected.size()));
        } else {
            collected.write(data, off, len);
        }
    }

    private void start() throws InvalidKeyException {
        if (encryptor != null || decryptor != null) {
            return;
        }
        Session session = held.begin().session();
        if (isEncrypting()) {
            encryptor = session.encryptor(mechanism(), key.object());
            held.holds(encryptor);
        } else {
            decryptor = session.decryptor(mechanism(), key.object());
            held.holds(decryptor);
        }
    }

    @Override
    protected int engineUpdate(byte[] data, int off, int len, byte[] out, int outOff) throws ShortBufferException {
        if (algorithm.takesParts() && out.length - outOff < mostFrom(len)) {
            throw new ShortBufferException("Up to " + mostFrom(len) + " bytes come out");
        }
        byte[] result = engineUpdate(data, off, len);
        if (result == null) {
            return 0;
        }
        System.arraycopy(result, 0, out, outOff, result.length);
        return result.length;
    }

    /** The most that an update gives out: whole blocks, but for the stream that a counter makes. */
    private int mostFrom(int len) {
        int all = Math.addExact(inside, len);
        return algorithm == CipherAlgorithm.AES_CTR ? all : all / BLOCK * BLOCK;
    }

    // ---- ending

    @Override
    protected byte[] engineDoFinal(byte[] data, int off, int len)
            throws IllegalBlockSizeException, BadPaddingException {
        if (undelivered != null) {
            byte[] result = undelivered;
            undelivered = null;
            return result;
        }
        requireFresh();
        byte[] given = data == null ? new byte[0] : data;
        int from = data == null ? 0 : off;
        try {
            byte[] result = encryptor == null && decryptor == null ? atOnce(given, from, len)
                    : finish(given, from, len);
            if (algorithm == CipherAlgorithm.AES_GCM && isEncrypting()) {
                used = true;
                usedKey = key;
                usedIv = iv.clone();
            }
            return result;
        } catch (CryptokiException e) {
            token.noted(e);
            if (e.code() == CKR.DATA_LEN_RANGE || e.code() == CKR.ENCRYPTED_DATA_LEN_RANGE && !algorithm.isRsa()
                    && algorithm != CipherAlgorithm.AES_GCM) {
                throw (IllegalBlockSizeException) new IllegalBlockSizeException(e.getMessage()).initCause(e);
            }
            if (!isEncrypting() && BAD_INPUT.contains(e.code())) {
                BadPaddingException bad = algorithm == CipherAlgorithm.AES_GCM ? new AEADBadTagException(e.getMessage())
                        : new BadPaddingException(e.getMessage());
                throw (BadPaddingException) bad.initCause(e);
            }
            throw ended(e);
        } catch (InvalidKeyException | IllegalStateException | IllegalArgumentException e) {
            throw ended(e);
        } finally {
            Reference.reachabilityFence(key);
            reset();
        }
    }

    private byte[] finish(byte[] data, int off, int len) {
        collected.write(data, off, len);
        byte[] last = collected.toByteArray();
        try {
            return encryptor != null ? encryptor.finish(last) : decryptor.finish(last);
        } finally {
            Arrays.fill(last, (byte) 0);
        }
    }

    private byte[] atOnce(byte[] data, int off, int len) throws InvalidKeyException, IllegalBlockSizeException {
        TokenObject object = key.object();
        Mechanism mechanism = mechanism();
        boolean whole = collected.size() == 0;
        if (!whole) {
            collect(data, off, len);
        }
        if (algorithm.isRsa() && isEncrypting() && modulusLength > 0
                && (whole ? len : collected.size()) > modulusLength) {
            throw new IllegalBlockSizeException("More than the key of " + modulusLength + " bytes takes");
        }
        byte[] input = whole ? data : collected.toByteArray();
        int from = whole ? off : 0;
        int length = whole ? len : input.length;
        try {
            return token.with(session -> {
                if (isEncrypting()) {
                    return session.encrypt(mechanism, object, input, from, length);
                }
                try (Decryptor operation = session.decryptor(mechanism, object)) {
                    if (key.asksEachTime()) {
                        operation.start();
                        token.loginForOperation(session);
                    }
                    return operation.finish(input, from, length);
                }
            });
        } finally {
            if (!whole) {
                Arrays.fill(input, (byte) 0);
            }
        }
    }

    @Override
    protected int engineDoFinal(byte[] data, int off, int len, byte[] out, int outOff)
            throws ShortBufferException, IllegalBlockSizeException, BadPaddingException {
        byte[] result = engineDoFinal(data, off, len);
        if (out.length - outOff < result.length) {
            undelivered = result;
            throw new ShortBufferException("The result has " + result.length
                    + " bytes; it is given when there is room");
        }
        System.arraycopy(result, 0, out, outOff, result.length);
        return result.length;
    }

    private ProviderException ended(Exception e) {
        token.noted(e);
        reset();
        return new ProviderException(algorithm.javaName() + ": " + e.getMessage(), e);
    }

    private void reset() {
        held.end();
        encryptor = null;
        decryptor = null;
        inside = 0;
        collected.wipe();
        associated.wipe();
    }

    // ---- keys

    /** A key of the token is wrapped by the token; one of the program's is encrypted. */
    @Override
    protected byte[] engineWrap(Key wrapped) throws InvalidKeyException, IllegalBlockSizeException {
        if (algorithm == CipherAlgorithm.AES_GCM) {
            requireFresh();
        }
        if (!(wrapped instanceof TokenKey)) {
            byte[] encoded = wrapped.getEncoded();
            if (encoded == null) {
                throw new InvalidKeyException("The key has no encoding");
            }
            try {
                return engineDoFinal(encoded, 0, encoded.length);
            } catch (BadPaddingException e) {
                throw new ProviderException(e);
            } finally {
                Arrays.fill(encoded, (byte) 0);
            }
        }
        try {
            TokenObject object = TokenKeys.usable(token, wrapped).object();
            TokenObject with = key.object();
            byte[] result = token.with(session -> session.wrapKey(mechanism(), with, object));
            used = algorithm == CipherAlgorithm.AES_GCM;
            usedKey = key;
            usedIv = iv == null ? null : iv.clone();
            return result;
        } catch (CryptokiException e) {
            throw new InvalidKeyException("The token does not wrap the key: " + e.getMessage(), e);
        } finally {
            Reference.reachabilityFence(wrapped);
            Reference.reachabilityFence(key);
        }
    }

    /** Secret keys arrive in the token and stay there; keys of TLS, private and public ones become the program's. */
    @Override
    protected Key engineUnwrap(byte[] wrapped, String of, int type)
            throws InvalidKeyException, NoSuchAlgorithmException {
        if (type == Cipher.SECRET_KEY && !of.startsWith("Tls")) {
            return unwrapInside(wrapped, of);
        }
        byte[] encoded = new byte[0];
        try {
            encoded = engineDoFinal(wrapped, 0, wrapped.length);
            if (type == Cipher.SECRET_KEY) {
                return new SecretKeySpec(encoded, of);
            }
            KeyFactory factory = Software.keyFactory(of);
            return type == Cipher.PRIVATE_KEY
                    ? factory.generatePrivate(new PKCS8EncodedKeySpec(encoded))
                    : factory.generatePublic(new X509EncodedKeySpec(encoded));
        } catch (NoSuchAlgorithmException e) {
            throw e;
        } catch (GeneralSecurityException | IllegalArgumentException e) {
            throw new InvalidKeyException("The key cannot be unwrapped: " + e.getMessage(), e);
        } finally {
            Arrays.fill(encoded, (byte) 0);
        }
    }

    private Key unwrapInside(byte[] wrapped, String of) throws InvalidKeyException {
        List<Attribute> template = new ArrayList<>(Uses.ofSecretKey(of));
        template.add(new Attribute(CKA.CLASS, CKO.SECRET_KEY));
        template.add(new Attribute(CKA.KEY_TYPE, of.equals("AES") ? CKK.AES : CKK.GENERIC_SECRET));
        template.addAll(Uses.KEPT_INSIDE);
        try {
            TokenObject with = key.object();
            return TokenKeys.of(token, token.reference(false, session -> session.unwrapKey(mechanism(), with, wrapped,
                    template.toArray(new Attribute[0]))), of);
        } catch (CryptokiException e) {
            throw new InvalidKeyException("The token does not unwrap the key: " + e.getMessage(), e);
        } finally {
            Reference.reachabilityFence(key);
        }
    }

    @Override
    protected int engineGetKeySize(Key given) {
        if (given instanceof RSAKey) {
            return ((RSAKey) given).getModulus().bitLength();
        }
        // A key that stays in its token tells its length at most by being of AES, which has none longer.
        byte[] encoded = given.getEncoded();
        return encoded == null ? 256 : 8 * encoded.length;
    }

    // ---- what Java asks

    @Override
    protected int engineGetBlockSize() {
        return algorithm.isRsa() ? 0 : BLOCK;
    }

    @Override
    protected int engineGetOutputSize(int len) {
        if (algorithm.isRsa()) {
            return modulusLength;
        }
        if (undelivered != null) {
            return undelivered.length;
        }
        int all = Math.addExact(algorithm.takesParts() ? inside : collected.size(), len);
        if (algorithm == CipherAlgorithm.AES_GCM) {
            return isEncrypting() ? all + tagBits / 8 : Math.max(0, all - tagBits / 8);
        }
        return algorithm.isPadded() && isEncrypting() ? (all / BLOCK + 1) * BLOCK : all;
    }

    @Override
    protected byte[] engineGetIV() {
        return iv == null ? null : iv.clone();
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        if (algorithm.parameter() == Parameter.NONE || iv == null && oaep == null) {
            return null;
        }
        try {
            AlgorithmParameters made = AlgorithmParameters.getInstance(algorithm.parameter() == Parameter.OAEP ? "OAEP"
                    : algorithm.parameter() == Parameter.GCM ? "GCM" : "AES");
            made.init(oaep != null ? oaep : algorithm.parameter() == Parameter.GCM ? new GCMParameterSpec(tagBits, iv)
                    : new IvParameterSpec(iv));
            return made;
        } catch (GeneralSecurityException e) {
            throw new ProviderException(e);
        }
    }
}
