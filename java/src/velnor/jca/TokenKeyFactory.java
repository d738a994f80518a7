package velnor.jca;

import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.KeyFactorySpi;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.spec.InvalidKeySpecException;
import java.security.spec.KeySpec;
import java.util.ArrayList;
import java.util.List;

import velnor.Attribute;
import velnor.CKA;

/** Puts private keys into the token's memory; public keys are the JDK's own. */
final class TokenKeyFactory extends KeyFactorySpi {
    private final Token token;
    private final String algorithm;

    TokenKeyFactory(Token token, String algorithm) {
        this.token = token;
        this.algorithm = algorithm;
    }

    @Override
    protected PublicKey engineGeneratePublic(KeySpec spec) throws InvalidKeySpecException {
        try {
            return Software.keyFactory(algorithm).generatePublic(spec);
        } catch (NoSuchAlgorithmException e) {
            throw new InvalidKeySpecException(e.getMessage(), e);
        }
    }

    @Override
    protected PrivateKey engineGeneratePrivate(KeySpec spec) throws InvalidKeySpecException {
        try {
            return (PrivateKey) engineTranslateKey(Software.keyFactory(algorithm).generatePrivate(spec));
        } catch (NoSuchAlgorithmException | InvalidKeyException e) {
            throw new InvalidKeySpecException(e.getMessage(), e);
        }
    }

    @Override
    protected <T extends KeySpec> T engineGetKeySpec(Key key, Class<T> spec) throws InvalidKeySpecException {
        if (key instanceof TokenKey) {
            throw new InvalidKeySpecException("A key that stays in its token");
        }
        try {
            return Software.keyFactory(algorithm).getKeySpec(key, spec);
        } catch (NoSuchAlgorithmException e) {
            throw new InvalidKeySpecException(e.getMessage(), e);
        }
    }

    @Override
    protected Key engineTranslateKey(Key key) throws InvalidKeyException {
        if (key instanceof PublicKey) {
            try {
                return Software.keyFactory(algorithm).translateKey(key);
            } catch (GeneralSecurityException e) {
                throw new InvalidKeyException(e.getMessage(), e);
            }
        }
        List<Attribute> uses = new ArrayList<>(Uses.ofPrivateKey(algorithm));
        uses.add(new Attribute(CKA.PRIVATE, true));
        uses.add(new Attribute(CKA.SENSITIVE, true));
        uses.add(new Attribute(CKA.EXTRACTABLE, false));
        return TokenKeys.usable(token, key, uses.toArray(new Attribute[0]));
    }
}
