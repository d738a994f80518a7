package velnor.jca;

import java.security.cert.X509Certificate;

import velnor.TokenObject;

/** What the key store shows under one alias: a key, perhaps with its certificate, or a certificate alone. */
final class StoredEntry {
    private final TokenKey key;
    private final X509Certificate certificate;
    private final TokenObject certificateObject;
    private final byte[] id;

    StoredEntry(TokenKey key, X509Certificate certificate, TokenObject certificateObject, byte[] id) {
        this.key = key;
        this.certificate = certificate;
        this.certificateObject = certificateObject;
        this.id = id.clone();
    }

    /** The key; null for a certificate alone. */
    TokenKey key() {
        return key;
    }

    /** The certificate; null for a key alone. */
    X509Certificate certificate() {
        return certificate;
    }

    TokenObject certificateObject() {
        return certificateObject;
    }

    /** What the objects of the entry have in common on the token; perhaps empty. */
    byte[] id() {
        return id.clone();
    }
}
