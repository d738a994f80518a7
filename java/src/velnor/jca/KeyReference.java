package velnor.jca;

import java.security.InvalidKeyException;
import java.util.ArrayList;
import java.util.List;

import velnor.Attribute;
import velnor.CKA;
import velnor.CryptokiException;
import velnor.TokenObject;

/**
 * Where a key is on its token. A key that is stored there is searched anew when the sessions were lost or the login has
 * ended; one that is not was lost with them. The reference knows nothing of the Java key, so that it can be
 * collected.
 */
final class KeyReference implements Runnable {
    /** By what a stored key is found again. */
    private static final int[] IDENTITY = {CKA.CLASS, CKA.KEY_TYPE, CKA.ID, CKA.LABEL, CKA.MODULUS, CKA.EC_PARAMS};

    private final Token token;
    private final boolean stored;
    private final Attribute[] identity;
    private PooledSession session;
    private TokenObject object;
    private boolean released;

    /** For whoever has the session. */
    KeyReference(Token token, PooledSession session, TokenObject object, boolean stored) {
        this.token = token;
        this.session = session;
        this.object = object;
        this.stored = stored;
        identity = stored ? identity(object) : null;
        session.keepFor();
    }

    private static Attribute[] identity(TokenObject object) {
        List<Attribute> present = new ArrayList<>();
        for (Attribute attribute : object.attributes(IDENTITY)) {
            if (attribute.availability() == Attribute.Availability.PRESENT) {
                present.add(attribute);
            }
        }
        present.add(new Attribute(CKA.TOKEN, true));
        return present.toArray(new Attribute[0]);
    }

    /**
     * Gives the object.
     *
     * @throws InvalidKeyException when it is gone
     */
    synchronized TokenObject object() throws InvalidKeyException {
        if (released) {
            throw new InvalidKeyException("The key was destroyed");
        }
        if (session.era() != token.sessions().era() || !session.isOpen()) {
            if (!stored) {
                throw new InvalidKeyException("The key was not stored on the token, and ended with a logout or the"
                        + " token's removal");
            }
            findAgain();
        }
        return object;
    }

    private void findAgain() throws InvalidKeyException {
        token.requireLogin();
        PooledSession other = token.take();
        try {
            List<TokenObject> found = other.session().find(identity);
            if (found.size() != 1) {
                throw new InvalidKeyException(found.isEmpty() ? "The key is no longer on the token"
                        : "The token has several keys of this ID and label");
            }
            session.keepNoLonger();
            other.keepFor();
            session = other;
            object = found.get(0);
        } catch (CryptokiException e) {
            throw new InvalidKeyException("The key cannot be found again: " + e.getMessage(), token.noted(e));
        } finally {
            token.sessions().giveBack(other);
        }
    }

    /** Ends the use of the key, which ends itself unless it is stored. */
    @Override
    public synchronized void run() {
        if (released) {
            return;
        }
        released = true;
        session.keepNoLonger();
        if (!stored && session.isOpen() && session.era() == token.sessions().era()) {
            try {
                object.destroy();
            } catch (CryptokiException | IllegalStateException gone) {
                // It went with its session.
            }
        }
    }
}
