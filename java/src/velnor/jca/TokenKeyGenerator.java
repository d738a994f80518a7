package velnor.jca;

import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.InvalidParameterException;
import java.security.ProviderException;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.util.ArrayList;
import java.util.List;

import javax.crypto.KeyGeneratorSpi;
import javax.crypto.SecretKey;

import velnor.Attribute;
import velnor.CKA;
import velnor.CryptokiException;
import velnor.Mechanism;

/** Secret keys, made in the token's memory, where they stay until a key store takes them or they are collected. */
final class TokenKeyGenerator extends KeyGeneratorSpi {
    private static final int AES_BITS = 256;

    private final Token token;
    private final String algorithm;
    private final int mechanism;
    private int bits;

    TokenKeyGenerator(Token token, String algorithm, int mechanism, int bits) {
        this.token = token;
        this.algorithm = algorithm;
        this.mechanism = mechanism;
        this.bits = bits;
    }

    @Override
    protected void engineInit(SecureRandom ignored) {
        // The token has random numbers of its own.
    }

    @Override
    protected void engineInit(AlgorithmParameterSpec parameters, SecureRandom ignored)
            throws InvalidAlgorithmParameterException {
        throw new InvalidAlgorithmParameterException("A key of " + algorithm + " takes a length and nothing else");
    }

    @Override
    protected void engineInit(int wanted, SecureRandom ignored) {
        boolean sound = algorithm.equals("AES") ? wanted == 128 || wanted == 192 || wanted == AES_BITS
                : wanted >= 8 && wanted % 8 == 0;
        if (!sound) {
            throw new InvalidParameterException("No key of " + algorithm + " has " + wanted + " bits");
        }
        bits = wanted;
    }

    @Override
    protected SecretKey engineGenerateKey() {
        token.requireLogin();
        List<Attribute> template = new ArrayList<>(Uses.ofSecretKey(algorithm));
        template.add(new Attribute(CKA.VALUE_LEN, bits / 8));
        template.addAll(Uses.KEPT_INSIDE);
        try {
            return (SecretKey) TokenKeys.of(token, token.reference(false,
                    session -> session.generateKey(new Mechanism(mechanism), template.toArray(new Attribute[0]))),
                    algorithm);
        } catch (InvalidKeyException | CryptokiException e) {
            throw new ProviderException("The token makes no key: " + e.getMessage(), e);
        }
    }
}
