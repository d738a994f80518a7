package velnor.jca;

import java.lang.ref.Reference;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;
import java.security.spec.AlgorithmParameterSpec;

import javax.crypto.MacSpi;
import javax.crypto.SecretKey;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Signer;
import velnor.TokenObject;

/** HMACs. As with signatures, short messages wait here, and from longer ones on a session is held. */
final class TokenMac extends MacSpi {
    private final Token token;
    private final Digest digest;
    private final Held held;
    private final Collected collected = new Collected();
    private TokenKey key;
    private Signer signer;

    TokenMac(Token token, Digest digest) {
        this.token = token;
        this.digest = digest;
        held = new Held(token);
        Token.CLEANER.register(this, held);
    }

    @Override
    protected int engineGetMacLength() {
        try {
            return MessageDigest.getInstance(digest.javaName()).getDigestLength();
        } catch (NoSuchAlgorithmException e) {
            throw new ProviderException(e);
        }
    }

    @Override
    protected void engineInit(Key given, AlgorithmParameterSpec parameters)
            throws InvalidKeyException, InvalidAlgorithmParameterException {
        if (parameters != null) {
            throw new InvalidAlgorithmParameterException("An HMAC takes no parameters");
        }
        if (!(given instanceof SecretKey)) {
            throw new InvalidKeyException("An HMAC takes a secret key");
        }
        engineReset();
        key = TokenKeys.usable(token, given, new Attribute(CKA.KEY_TYPE, CKK.GENERIC_SECRET),
                new Attribute(CKA.SIGN, true), new Attribute(CKA.VERIFY, true), new Attribute(CKA.PRIVATE, true),
                new Attribute(CKA.SENSITIVE, true), new Attribute(CKA.EXTRACTABLE, false));
    }

    @Override
    protected void engineUpdate(byte b) {
        engineUpdate(new byte[] {b}, 0, 1);
    }

    @Override
    protected void engineUpdate(byte[] data, int off, int len) {
        if (signer == null && collected.takes(len)) {
            collected.write(data, off, len);
            return;
        }
        try {
            if (signer == null) {
                signer = held.begin().session().signer(new Mechanism(digest.hmac()), key.object());
                held.holds(signer);
                signer.update(collected.array(), 0, collected.size());
                collected.wipe();
            }
            signer.update(data, off, len);
        } catch (InvalidKeyException | RuntimeException e) {
            throw ended(e);
        } finally {
            Reference.reachabilityFence(key);
        }
    }

    private ProviderException ended(Exception e) {
        token.noted(e);
        engineReset();
        return new ProviderException("The token makes no Hmac" + digest.nameInside() + ": " + e.getMessage(), e);
    }

    @Override
    protected byte[] engineDoFinal() {
        try {
            if (signer != null) {
                return signer.sign();
            }
            TokenObject object = key.object();
            byte[] data = collected.toByteArray();
            return token.with(session -> session.sign(new Mechanism(digest.hmac()), object, data));
        } catch (InvalidKeyException | RuntimeException e) {
            throw ended(e);
        } finally {
            Reference.reachabilityFence(key);
            engineReset();
        }
    }

    @Override
    protected void engineReset() {
        held.end();
        signer = null;
        collected.wipe();
    }
}
