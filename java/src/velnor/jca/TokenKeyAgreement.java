package velnor.jca;

import java.lang.ref.Reference;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.interfaces.ECKey;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;

import javax.crypto.KeyAgreementSpi;
import javax.crypto.SecretKey;
import javax.crypto.ShortBufferException;
import javax.crypto.spec.SecretKeySpec;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.Mechanism;
import velnor.TokenObject;
import velnor.der.Der;
import velnor.params.ECDH1DeriveParams;

/** Diffie-Hellman on curves. The private key stays in the token; what was agreed is handed out, as Java wants it. */
final class TokenKeyAgreement extends KeyAgreementSpi {
    private final Token token;
    private final String keyAlgorithm;
    private TokenKey key;
    private ECDH1DeriveParams parameters;
    private int length;

    TokenKeyAgreement(Token token, String keyAlgorithm) {
        this.token = token;
        this.keyAlgorithm = keyAlgorithm;
    }

    @Override
    protected void engineInit(Key given, SecureRandom ignored) throws InvalidKeyException {
        if (!(given instanceof PrivateKey) || !given.getAlgorithm().equals(keyAlgorithm)) {
            throw new InvalidKeyException("An agreement needs a private key of " + keyAlgorithm);
        }
        parameters = null;
        key = TokenKeys.usable(token, given, new Attribute(CKA.DERIVE, true), new Attribute(CKA.PRIVATE, true),
                new Attribute(CKA.SENSITIVE, true), new Attribute(CKA.EXTRACTABLE, false));
    }

    @Override
    protected void engineInit(Key given, AlgorithmParameterSpec spec, SecureRandom ignored)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        if (spec != null) {
            throw new InvalidAlgorithmParameterException("The agreement takes no parameters");
        }
        engineInit(given, ignored);
    }

    @Override
    protected Key engineDoPhase(Key others, boolean last) throws InvalidKeyException {
        if (key == null) {
            throw new IllegalStateException("The agreement has no key of its own");
        }
        if (!last) {
            throw new IllegalStateException("An agreement of two has one phase");
        }
        if (!(others instanceof PublicKey) || !others.getAlgorithm().equals(keyAlgorithm)) {
            throw new InvalidKeyException("An agreement needs the other side's public key of " + keyAlgorithm);
        }
        try {
            if (others instanceof ECKey) {
                requireSameCurve((ECKey) others);
                length = (((ECKey) others).getParams().getCurve().getField().getFieldSize() + 7) / 8;
            } else {
                length = Der.element(others.getEncoded()).sequence().get(1).bitString().length;
            }
            parameters = ECDH1DeriveParams.of((PublicKey) others);
        } catch (IllegalArgumentException e) {
            throw new InvalidKeyException(e.getMessage(), e);
        }
        return null;
    }

    private void requireSameCurve(ECKey others) throws InvalidKeyException {
        if (key instanceof ECKey && !((ECKey) key).getParams().getCurve().equals(others.getParams().getCurve())) {
            throw new InvalidKeyException("The keys are on different curves");
        }
    }

    @Override
    protected byte[] engineGenerateSecret() {
        if (parameters == null) {
            throw new IllegalStateException("The agreement lacks the other side's key");
        }
        try {
            TokenObject own = key.object();
            return token.with(session -> {
                TokenObject agreed = session.deriveKey(new Mechanism(CKM.ECDH1_DERIVE, parameters), own,
                        new Attribute(CKA.CLASS, CKO.SECRET_KEY), new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET),
                        new Attribute(CKA.TOKEN, false), new Attribute(CKA.SENSITIVE, false),
                        new Attribute(CKA.EXTRACTABLE, true), new Attribute(CKA.VALUE_LEN, length));
                try {
                    return agreed.attribute(CKA.VALUE).bytesValue();
                } finally {
                    agreed.destroy();
                }
            });
        } catch (InvalidKeyException | RuntimeException e) {
            throw new ProviderException("The token does not agree: " + e.getMessage(), e);
        } finally {
            Reference.reachabilityFence(key);
            parameters = null;
        }
    }

    @Override
    protected int engineGenerateSecret(byte[] out, int off) throws ShortBufferException {
        if (parameters != null && out.length - off < length) {
            throw new ShortBufferException("The secret has " + length + " bytes");
        }
        byte[] secret = engineGenerateSecret();
        System.arraycopy(secret, 0, out, off, secret.length);
        Arrays.fill(secret, (byte) 0);
        return secret.length;
    }

    @Override
    protected SecretKey engineGenerateSecret(String algorithm) {
        byte[] secret = engineGenerateSecret();
        try {
            return new SecretKeySpec(secret, algorithm);
        } finally {
            Arrays.fill(secret, (byte) 0);
        }
    }
}
