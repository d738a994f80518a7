package velnor.jca;

import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.security.KeyFactory;
import java.security.NoSuchAlgorithmException;
import java.security.Provider;
import java.security.Security;
import java.security.Signature;

/** What other providers do, for keys that are no token's. */
final class Software {
    private Software() {
    }

    private static Provider[] others(String service) throws NoSuchAlgorithmException {
        Provider[] providers = Security.getProviders(service);
        if (providers == null) {
            throw new NoSuchAlgorithmException("No provider has " + service);
        }
        return providers;
    }

    /** Gives a key factory that does not come back here. */
    static KeyFactory keyFactory(String algorithm) throws NoSuchAlgorithmException {
        for (Provider provider : others("KeyFactory." + algorithm)) {
            if (!(provider instanceof HarluneProvider)) {
                return KeyFactory.getInstance(algorithm, provider);
            }
        }
        throw new NoSuchAlgorithmException("No other provider has key factories for " + algorithm);
    }

    /** What is tried with one provider after the other. */
    interface Preparation {
        void prepare(Signature signature) throws GeneralSecurityException;
    }

    /** Gives a signature that takes the key and parameters that it is prepared with. */
    static Signature signature(String algorithm, Preparation preparation) throws InvalidKeyException {
        GeneralSecurityException last = null;
        try {
            for (Provider provider : others("Signature." + algorithm)) {
                if (!(provider instanceof HarluneProvider)) {
                    try {
                        Signature signature = Signature.getInstance(algorithm, provider);
                        preparation.prepare(signature);
                        return signature;
                    } catch (GeneralSecurityException e) {
                        last = e;
                    }
                }
            }
        } catch (NoSuchAlgorithmException e) {
            last = e;
        }
        throw new InvalidKeyException("Neither the token nor another provider does this with " + algorithm, last);
    }
}
