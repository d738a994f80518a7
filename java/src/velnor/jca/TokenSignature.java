package velnor.jca;

import java.lang.ref.Reference;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.InvalidParameterException;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.Signature;
import java.security.SignatureException;
import java.security.SignatureSpi;
import java.security.interfaces.DSAKey;
import java.security.interfaces.ECKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.Arrays;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKF;
import velnor.CryptokiException;
import velnor.EcdsaSignatures;
import velnor.Mechanism;
import velnor.Session;
import velnor.Signer;
import velnor.TokenObject;
import velnor.Verifier;
import velnor.jca.SignatureAlgorithm.Scheme;
import velnor.params.PSSParams;

/**
 * Signatures. Short messages wait here and travel in one call; from longer ones on a session is held until the end.
 * What a token does not digest is digested here, and what it cannot verify the JDK verifies.
 */
final class TokenSignature extends SignatureSpi {
    private final Token token;
    private final SignatureAlgorithm algorithm;
    private final Held held;
    private final Collected collected = new Collected();
    private TokenKey key;
    private boolean signing;
    private PSSParameterSpec parameters;
    private boolean begun;
    /** How long r and s are in the token's form; 0 where the token itself has to know. */
    private int half;
    private Mechanism mechanism;
    /** What is digested here; null when the token digests, or nobody does. */
    private MessageDigest digest;
    private Digest digested;
    /** What goes on in the token: one of these. */
    private Signer signer;
    private Verifier verifier;
    /** The JDK's, for what the token cannot verify. */
    private Signature software;

    TokenSignature(Token token, SignatureAlgorithm algorithm) {
        this.token = token;
        this.algorithm = algorithm;
        held = new Held(token);
        Token.CLEANER.register(this, held);
        if (algorithm.scheme() == Scheme.PSS && algorithm.digest() != null) {
            String name = algorithm.digest().javaName();
            parameters = new PSSParameterSpec(name, "MGF1", new MGF1ParameterSpec(name), length(name),
                    PSSParameterSpec.TRAILER_FIELD_BC);
        }
    }

    private static int length(String digest) {
        try {
            return MessageDigest.getInstance(digest).getDigestLength();
        } catch (NoSuchAlgorithmException e) {
            throw new ProviderException(e);
        }
    }

    // ---- beginning

    @Override
    protected void engineInitSign(PrivateKey privateKey) throws InvalidKeyException {
        init();
        checkAlgorithm(privateKey);
        key = TokenKeys.usable(token, privateKey, new Attribute(CKA.SIGN, true), new Attribute(CKA.PRIVATE, true),
                new Attribute(CKA.SENSITIVE, true), new Attribute(CKA.EXTRACTABLE, false));
        half = half(privateKey);
        signing = true;
        plan();
    }

    @Override
    protected void engineInitSign(PrivateKey privateKey, SecureRandom ignored) throws InvalidKeyException {
        engineInitSign(privateKey);
    }

    @Override
    protected void engineInitVerify(PublicKey publicKey) throws InvalidKeyException {
        init();
        checkAlgorithm(publicKey);
        half = half(publicKey);
        signing = false;
        if (isVerifiedByToken()) {
            key = TokenKeys.usable(token, publicKey, new Attribute(CKA.VERIFY, true),
                    new Attribute(CKA.PRIVATE, false));
            plan();
        } else {
            software = software(publicKey);
        }
    }

    private void init() {
        reset();
        key = null;
        software = null;
        mechanism = null;
    }

    private void checkAlgorithm(java.security.Key given) throws InvalidKeyException {
        if (given == null) {
            throw new InvalidKeyException("There is no key");
        }
        String wanted = algorithm.scheme().keyAlgorithm();
        String is = given.getAlgorithm();
        if (!is.equals(wanted) && !(wanted.equals("RSA") && is.equals("RSASSA-PSS"))
                && !(wanted.equals("EdDSA") && (is.equals("Ed25519") || is.equals("Ed448")))) {
            throw new InvalidKeyException(algorithm.name() + " takes keys of " + wanted + ", not of " + is);
        }
    }

    /** How many bytes r and s have each: as many as the order of the group. */
    private static int half(java.security.Key key) {
        int bits = key instanceof ECKey ? ((ECKey) key).getParams().getOrder().bitLength()
                : key instanceof DSAKey && ((DSAKey) key).getParams() != null
                        ? ((DSAKey) key).getParams().getQ().bitLength()
                        : 0;
        return (bits + 7) / 8;
    }

    private boolean isVerifiedByToken() {
        return algorithm.mechanism(token, CKF.VERIFY, digest()) != 0;
    }

    private Signature software(PublicKey publicKey) throws InvalidKeyException {
        return Software.signature(algorithm.name(), other -> {
            if (parameters != null) {
                other.setParameter(parameters);
            }
            other.initVerify(publicKey);
        });
    }

    private Digest digest() {
        return algorithm.scheme() == Scheme.PSS && parameters != null ? Digest.named(parameters.getDigestAlgorithm())
                : algorithm.digest();
    }

    /** Decides how the token does it. RSASSA-PSS cannot be decided before its parameters are known. */
    private void plan() throws InvalidKeyException {
        mechanism = null;
        digest = null;
        digested = digest();
        if (algorithm.scheme() == Scheme.PSS && parameters == null) {
            return;
        }
        int type = algorithm.mechanism(token, signing ? CKF.SIGN : CKF.VERIFY, digested);
        if (type == 0) {
            throw new InvalidKeyException("The token does not " + (signing ? "sign" : "verify") + " with "
                    + (digested == null ? "these parameters" : digested.javaName()));
        }
        try {
            mechanism = algorithm.scheme() == Scheme.PSS ? new Mechanism(type, PSSParams.of(parameters))
                    : new Mechanism(type);
            if (digested != null && type == algorithm.scheme().bare()) {
                digest = MessageDigest.getInstance(digested.javaName());
            }
        } catch (IllegalArgumentException | NoSuchAlgorithmException e) {
            throw new InvalidKeyException(e.getMessage(), e);
        }
    }

    // ---- data

    @Override
    protected void engineUpdate(byte b) throws SignatureException {
        engineUpdate(new byte[] {b}, 0, 1);
    }

    @Override
    protected void engineUpdate(byte[] data, int off, int len) throws SignatureException {
        if (software != null) {
            software.update(data, off, len);
            return;
        }
        requireParameters();
        begun = true;
        if (digest != null) {
            digest.update(data, off, len);
        } else if (signer != null || verifier != null) {
            pass(data, off, len);
        } else if (!takesParts() || collected.takes(len)) {
            collected.write(data, off, len);
        } else {
            start();
            pass(collected.array(), 0, collected.size());
            collected.wipe();
            pass(data, off, len);
        }
    }

    private void requireParameters() throws SignatureException {
        if (mechanism == null) {
            throw new SignatureException("RSASSA-PSS needs its parameters first: setParameter(PSSParameterSpec)");
        }
    }

    /** Mechanisms without a digest of their own take everything at once, and keys that want their PIN have it last. */
    private boolean takesParts() {
        return digested != null && digest == null && !key.asksEachTime();
    }

    /** Begins to hold a session. */
    private void start() throws SignatureException {
        try {
            Session session = held.begin().session();
            TokenObject object = key.object();
            if (signing) {
                signer = session.signer(mechanism, object);
                held.holds(signer);
            } else {
                verifier = session.verifier(mechanism, object);
                held.holds(verifier);
            }
        } catch (InvalidKeyException | RuntimeException e) {
            throw ended(e);
        }
    }

    private void pass(byte[] data, int off, int len) throws SignatureException {
        try {
            if (signing) {
                signer.update(data, off, len);
            } else {
                verifier.update(data, off, len);
            }
        } catch (CryptokiException | IllegalArgumentException | IllegalStateException e) {
            throw ended(e);
        } finally {
            Reference.reachabilityFence(key);
        }
    }

    /** Ends the operation, and tells why as users of {@code java.security} expect it. */
    private SignatureException ended(Exception e) {
        token.noted(e);
        reset();
        return new SignatureException(algorithm.name() + ": " + e.getMessage(), e);
    }

    private void reset() {
        held.end();
        signer = null;
        verifier = null;
        begun = false;
        collected.wipe();
        if (digest != null) {
            digest.reset();
        }
    }

    // ---- ending

    /** What the mechanism is given in the end: the digest in the form that it wants, or what has waited. */
    private byte[] last() {
        if (digest == null) {
            return collected.toByteArray();
        }
        byte[] value = digest.digest();
        if (algorithm.scheme() == Scheme.RSA) {
            return digested.info(value);
        }
        // Of a digest that is longer than the order only the beginning counts, which not every token knows.
        return half == 0 || value.length <= half ? value : Arrays.copyOf(value, half);
    }

    @Override
    protected byte[] engineSign() throws SignatureException {
        requireParameters();
        try {
            byte[] signature = signer != null ? signer.sign() : signAtOnce(last());
            return algorithm.scheme().isInDer() ? EcdsaSignatures.toDer(signature) : signature;
        } catch (InvalidKeyException | RuntimeException e) {
            throw ended(e);
        } finally {
            Reference.reachabilityFence(key);
            reset();
        }
    }

    private byte[] signAtOnce(byte[] data) throws InvalidKeyException {
        TokenObject object = key.object();
        return token.with(session -> {
            try (Signer operation = session.signer(mechanism, object)) {
                if (key.asksEachTime()) {
                    operation.start();
                    token.loginForOperation(session);
                }
                return operation.sign(data);
            }
        });
    }

    @Override
    protected boolean engineVerify(byte[] signature) throws SignatureException {
        if (software != null) {
            return software.verify(signature);
        }
        requireParameters();
        try {
            byte[] raw = algorithm.scheme().isInDer() ? fromDer(signature) : signature;
            if (half != 0 && raw.length != 2 * half) {
                return false;
            }
            return verifier != null ? verifier.isValid(raw) : verifyAtOnce(last(), raw);
        } catch (InvalidKeyException | RuntimeException e) {
            throw ended(e);
        } finally {
            Reference.reachabilityFence(key);
            reset();
        }
    }

    private byte[] fromDer(byte[] signature) throws SignatureException {
        try {
            return EcdsaSignatures.fromDer(signature, half);
        } catch (IllegalArgumentException e) {
            throw new SignatureException("Not a signature in DER: " + e.getMessage(), e);
        }
    }

    private boolean verifyAtOnce(byte[] data, byte[] signature) throws InvalidKeyException {
        TokenObject object = key.object();
        return token.with(session -> session.isValid(mechanism, object, data, signature));
    }

    // ---- parameters

    @Override
    protected void engineSetParameter(AlgorithmParameterSpec given) throws InvalidAlgorithmParameterException {
        if (given == null && algorithm.scheme() != Scheme.PSS) {
            return;
        }
        if (algorithm.scheme() != Scheme.PSS || !(given instanceof PSSParameterSpec)) {
            throw new InvalidAlgorithmParameterException(algorithm.name() + " takes "
                    + (algorithm.scheme() == Scheme.PSS ? "a PSSParameterSpec" : "no parameters"));
        }
        if (begun) {
            throw new InvalidAlgorithmParameterException("The parameters belong before the data");
        }
        PSSParameterSpec wanted = (PSSParameterSpec) given;
        Digest named = Digest.named(wanted.getDigestAlgorithm());
        if (named == null || algorithm.digest() != null && algorithm.digest() != named) {
            throw new InvalidAlgorithmParameterException(algorithm.name() + " does not go with "
                    + wanted.getDigestAlgorithm());
        }
        try {
            PSSParams.of(wanted);
            parameters = wanted;
            if (software != null) {
                software.setParameter(wanted);
            } else if (key != null) {
                plan();
            }
        } catch (InvalidKeyException | IllegalArgumentException e) {
            throw new InvalidAlgorithmParameterException(e.getMessage(), e);
        }
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        if (parameters == null) {
            return null;
        }
        try {
            AlgorithmParameters made = AlgorithmParameters.getInstance("RSASSA-PSS");
            made.init(parameters);
            return made;
        } catch (GeneralSecurityException e) {
            throw new ProviderException(e);
        }
    }

    @Override
    @Deprecated
    protected void engineSetParameter(String name, Object value) {
        throw new InvalidParameterException("Use setParameter(AlgorithmParameterSpec)");
    }

    @Override
    @Deprecated
    protected Object engineGetParameter(String name) {
        throw new InvalidParameterException("Use getParameters()");
    }
}
