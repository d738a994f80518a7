package harlune.matrix;

import harlune.support.Tokens;

import java.util.List;
import java.util.function.Supplier;

import javax.crypto.spec.SecretKeySpec;

import velnor.Attribute;
import velnor.CKA;
import velnor.CryptokiException;
import velnor.ObjectTemplates;
import velnor.Session;
import velnor.TokenObject;
import velnor.TokenSlot;

/**
 * Trials of what the surface can do with the token at hand: a row of the table is something that people use tokens for.
 * The token is asked whatever it says that it can do.
 */
abstract class SurfaceTrials extends Trials {
    static final String AES_CBC = "AES-CBC";
    static final String AES_CTR = "AES-CTR";
    static final String AES_GCM = "AES-GCM";
    static final String MESSAGES = "Messages, AES-GCM";
    static final String HMAC = "HMAC";
    static final String PSS = "RSA-PSS";
    static final String OAEP = "OAEP with SHA-256";
    static final String EDDSA = "EdDSA";
    static final String ECDH = "ECDH";
    static final String AES_KEY_WRAP = "Keys wrapped with AES";
    static final String RSA_WRAPPING = "Keys wrapped with RSA";
    static final String EC_POINTS = "Public EC keys are read";
    static final String LONG_CERTIFICATES = "Certificates of more than 2048 bytes";
    static final String ISSUERS = "Issuers of certificates";
    static final String WIDE_SESSIONS = "Session handles beyond 32 bits";
    static final String THREADS = "Eight threads sign";
    static final String RESERVED_TEXT = "A text for the initialisation";
    static final String SESSION_CANCEL = "`C_SessionCancel`";

    /** In the order of the table. */
    static final List<String> ROWS = List.of(AES_CBC, AES_CTR, AES_GCM, MESSAGES, HMAC, PSS, OAEP, EDDSA, ECDH,
            AES_KEY_WRAP, RSA_WRAPPING, EC_POINTS, LONG_CERTIFICATES, ISSUERS, WIDE_SESSIONS, THREADS, RESERVED_TEXT, SESSION_CANCEL);

    protected final OpenToken token;
    protected TokenSlot slot;
    protected Session session;

    SurfaceTrials(OpenToken token, Outcomes outcomes) {
        super(outcomes);
        this.token = token;
    }

    @Override
    void begin(boolean inSession) {
        slot = token.slot();
        if (inSession) {
            openSession();
        }
    }

    @Override
    void end() {
        token.slot().closeAllSessions();
    }

    @Override
    String refusal(String row, CryptokiException refused) {
        return Outcomes.codeName(refused);
    }

    @Override
    void nothingToTryItWith(Planned trial, CryptokiException refused) {
        nothing(Outcomes.codeName(refused));
    }

    /** Writes down why the trial that runs has nothing to work on. */
    protected final void nothing(String why) {
        outcomes.put(running().what(), running().with(), Outcomes.NOTHING + why);
    }

    /** What the trial that runs is about. */
    protected final <T> T call(Supplier<T> call) {
        return call(running().what(), running().with(), call);
    }

    protected final void run(Runnable call) {
        call(() -> {
            call.run();
            return null;
        });
    }

    private void openSession() {
        session = slot.openSession();
        session.loginIfNeeded(Tokens.PIN);
    }

    /** Goes on in a session without history: a TPM keeps few keys at hand, and those of a session until its end. */
    protected final void beginAnew() {
        session.close();
        openSession();
    }

    /** A session key of known value, usable for everything. */
    protected final TokenObject secretKey(String algorithm, byte[] value) {
        return session.createObject(ObjectTemplates.of(new SecretKeySpec(value, algorithm),
                new Attribute(CKA.TOKEN, false),
                new Attribute(CKA.SENSITIVE, false),
                new Attribute(CKA.EXTRACTABLE, true),
                new Attribute(CKA.ENCRYPT, true),
                new Attribute(CKA.DECRYPT, true),
                new Attribute(CKA.SIGN, true),
                new Attribute(CKA.VERIFY, true),
                new Attribute(CKA.WRAP, true),
                new Attribute(CKA.UNWRAP, true)));
    }
}
