package harlune.support;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;

import velnor.nat.NativeSession;

/** For tests that work in a read/write session with a real token, the user logged in. Each test has a session anew. */
public abstract class TokenSession extends BoundToken {
    protected NativeSession session;
    /** The session's handle, for the methods that take it as an argument. */
    protected long h;

    @BeforeEach
    void open() {
        session = slot.J_OpenSession(Ck.CKF_SERIAL_SESSION | Ck.CKF_RW_SESSION, Ck.CKU_USER, Tokens.PIN);
        h = session.sessionHandle();
    }

    @AfterEach
    void close() {
        slot.J_CloseAllSessions();
    }
}
