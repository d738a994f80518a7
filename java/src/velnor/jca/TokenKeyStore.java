package velnor.jca;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.KeyStore;
import java.security.KeyStoreException;
import java.security.KeyStoreSpi;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.UnrecoverableEntryException;
import java.security.UnrecoverableKeyException;
import java.security.cert.Certificate;
import java.security.cert.X509Certificate;
import java.util.Arrays;
import java.util.Collections;
import java.util.Date;
import java.util.Enumeration;
import java.util.Map;

import javax.crypto.SecretKey;

import velnor.CKR;
import velnor.CryptokiException;

/**
 * The objects of a token as a key store. {@link StoredEntries} knows what they are and what they are called; what is
 * changed here changes on the token at once, and {@code store} has nothing left to do.
 *
 * <p>The PIN of the token protects everything, so passwords of entries are not looked at.
 */
final class TokenKeyStore extends KeyStoreSpi {
    private final Token token;
    private volatile StoredEntries entries;

    TokenKeyStore(Token token) {
        this.token = token;
    }

    // ---- loading

    @Override
    public void engineLoad(InputStream stream, char[] password) throws IOException {
        if (stream != null) {
            throw new IOException("A token is not read from a stream: load(null, pin)");
        }
        try {
            if (password != null && password.length > 0) {
                token.login(password);
            } else {
                token.loginIfAnybodyKnowsThePin();
            }
            entries = StoredEntries.read(token);
        } catch (CryptokiException e) {
            throw failure(e);
        } catch (ProviderException | IllegalStateException | IllegalArgumentException e) {
            throw new IOException(e.getMessage(), e);
        }
    }

    /** A wrong PIN is told in the way that {@link KeyStore#load} promises. */
    private static IOException failure(CryptokiException e) {
        if (e.code() != CKR.PIN_INCORRECT && e.code() != CKR.PIN_LOCKED && e.code() != CKR.PIN_LEN_RANGE
                && e.code() != CKR.PIN_INVALID) {
            return new IOException("The token cannot be read: " + e.getMessage(), e);
        }
        UnrecoverableKeyException cause = new UnrecoverableKeyException(e.getMessage());
        cause.initCause(e);
        return new IOException("The token refuses the PIN", cause);
    }

    @Override
    public void engineLoad(KeyStore.LoadStoreParameter parameter) throws IOException {
        if (parameter == null) {
            engineLoad(null, null);
            return;
        }
        KeyStore.ProtectionParameter protection = parameter.getProtectionParameter();
        if (protection instanceof KeyStore.PasswordProtection) {
            engineLoad(null, ((KeyStore.PasswordProtection) protection).getPassword());
        } else if (protection instanceof KeyStore.CallbackHandlerProtection) {
            try {
                token.login(((KeyStore.CallbackHandlerProtection) protection).getCallbackHandler());
            } catch (ProviderException e) {
                throw new IOException(e.getMessage(), e);
            }
            engineLoad(null, null);
        } else {
            throw new IllegalArgumentException("A PIN or a callback handler is needed, not " + protection);
        }
    }

    @Override
    public void engineStore(OutputStream stream, char[] password) throws IOException {
        if (stream != null) {
            throw new IOException("A token is not written to a stream: store(null, null)");
        }
    }

    @Override
    public void engineStore(KeyStore.LoadStoreParameter parameter) {
        // Everything is on the token.
    }

    // ---- looking

    private StoredEntries entries() {
        return entries;
    }

    @Override
    public Enumeration<String> engineAliases() {
        return Collections.enumeration(entries().aliases());
    }

    @Override
    public boolean engineContainsAlias(String alias) {
        return entries().entry(alias) != null;
    }

    @Override
    public int engineSize() {
        return entries().aliases().size();
    }

    @Override
    public boolean engineIsKeyEntry(String alias) {
        StoredEntry entry = entries().entry(alias);
        return entry != null && entry.key() != null;
    }

    @Override
    public boolean engineIsCertificateEntry(String alias) {
        StoredEntry entry = entries().entry(alias);
        return entry != null && entry.key() == null;
    }

    @Override
    public Key engineGetKey(String alias, char[] password) throws UnrecoverableKeyException {
        StoredEntry entry = entries().entry(alias);
        return entry == null ? null : entry.key();
    }

    @Override
    public Certificate[] engineGetCertificateChain(String alias) {
        StoredEntry entry = entries().entry(alias);
        return entry == null || entry.key() == null || entry.certificate() == null ? null
                : entries().chain(entry).toArray(new Certificate[0]);
    }

    @Override
    public Certificate engineGetCertificate(String alias) {
        StoredEntry entry = entries().entry(alias);
        return entry == null ? null : entry.certificate();
    }

    @Override
    public Date engineGetCreationDate(String alias) {
        // Tokens do not tell.
        return engineContainsAlias(alias) ? new Date(0) : null;
    }

    @Override
    public String engineGetCertificateAlias(Certificate certificate) {
        return entries().all().entrySet().stream().filter(entry -> certificate.equals(entry.getValue().certificate()))
                .map(Map.Entry::getKey).findFirst().orElse(null);
    }

    @Override
    public KeyStore.Entry engineGetEntry(String alias, KeyStore.ProtectionParameter protection)
            throws UnrecoverableEntryException {
        StoredEntry entry = entries().entry(alias);
        if (entry == null) {
            return null;
        }
        if (entry.key() instanceof SecretKey) {
            return new KeyStore.SecretKeyEntry((SecretKey) entry.key());
        }
        if (entry.key() == null) {
            return new KeyStore.TrustedCertificateEntry(entry.certificate());
        }
        if (entry.certificate() == null) {
            throw new UnrecoverableEntryException("The token has no certificate for the key; getKey gives it");
        }
        return new KeyStore.PrivateKeyEntry((PrivateKey) entry.key(), engineGetCertificateChain(alias));
    }

    @Override
    public boolean engineEntryInstanceOf(String alias, Class<? extends KeyStore.Entry> type) {
        StoredEntry entry = entries().entry(alias);
        return entry != null && (entry.key() instanceof SecretKey ? type == KeyStore.SecretKeyEntry.class
                : entry.key() == null ? type == KeyStore.TrustedCertificateEntry.class
                : type == KeyStore.PrivateKeyEntry.class);
    }

    // ---- changing

    @Override
    public void engineSetKeyEntry(String alias, Key key, char[] password, Certificate[] chain)
            throws KeyStoreException {
        change(alias, "set", () -> {
            if (key instanceof PrivateKey) {
                entries().setPrivateKey(alias, (PrivateKey) key, x509(chain));
            } else if (key instanceof SecretKey) {
                entries().setSecretKey(alias, (SecretKey) key);
            } else {
                throw new KeyStoreException("A token keeps private and secret keys, not "
                        + (key instanceof PublicKey ? "public ones" : String.valueOf(key)));
            }
        });
    }

    private static X509Certificate[] x509(Certificate[] chain) throws KeyStoreException {
        if (chain == null || chain.length == 0) {
            throw new KeyStoreException("A private key needs its certificate");
        }
        if (!Arrays.stream(chain).allMatch(X509Certificate.class::isInstance)) {
            throw new KeyStoreException("A token keeps certificates of X.509");
        }
        return Arrays.copyOf(chain, chain.length, X509Certificate[].class);
    }

    @Override
    public void engineSetKeyEntry(String alias, byte[] key, Certificate[] chain) throws KeyStoreException {
        throw new KeyStoreException("A token takes keys, not what somebody has encrypted");
    }

    @Override
    public void engineSetCertificateEntry(String alias, Certificate certificate) throws KeyStoreException {
        X509Certificate[] one = x509(new Certificate[] {certificate});
        change(alias, "set", () -> entries().setCertificate(alias, one[0]));
    }

    @Override
    public void engineDeleteEntry(String alias) throws KeyStoreException {
        change(alias, "delete", () -> entries().delete(alias));
    }

    private interface Change {
        void make() throws InvalidKeyException, KeyStoreException;
    }

    /** Changes the token, and reads it anew, since a failure may have come midway. */
    private void change(String alias, String what, Change change) throws KeyStoreException {
        try {
            token.requireLogin();
            try {
                change.make();
            } finally {
                entries = StoredEntries.read(token);
            }
        } catch (InvalidKeyException | CryptokiException | ProviderException | IllegalArgumentException e) {
            throw new KeyStoreException("The token does not " + what + " the entry " + alias + ": " + e.getMessage(),
                    e);
        }
    }
}
