package velnor.jca;

import java.lang.ref.Cleaner;
import java.security.InvalidKeyException;
import java.security.ProviderException;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Map;
import java.util.Set;
import java.util.function.Predicate;

import javax.security.auth.callback.CallbackHandler;
import javax.security.auth.login.LoginException;

import velnor.Attribute;
import velnor.CKF;
import velnor.CKR;
import velnor.CKS;
import velnor.CryptokiException;
import velnor.Session;
import velnor.TokenInfo;
import velnor.TokenObject;
import velnor.TokenSlot;
import velnor.UserType;
import velnor.table.MechanismTable;

/** One token: what it can do, the sessions with it, whether somebody is logged in. */
final class Token {
    /** Work with a session that nobody else has meanwhile. */
    interface Work<T> {
        T with(Session session);
    }

    /** Whoever can log in when that turns out to be necessary. */
    interface Login {
        /** Logs the user in, unless that has happened; null for the handler that the provider has. */
        void by(CallbackHandler handler) throws LoginException;

        /** Whether there is anybody to be asked for the PIN. */
        boolean isPossible() throws LoginException;

        /** Asks for the PIN, for a key that wants it each time; null for a PIN pad. */
        char[] pin() throws LoginException;
    }

    /** Ends what programs drop: the use of keys, and operations midway. */
    static final Cleaner CLEANER = Cleaner.create();

    private static final long PATIENCE_MILLIS = 30_000;

    /** What tells that the sessions are gone, and perhaps the token. */
    private static final Set<Integer> LOSSES = Set.of(CKR.DEVICE_REMOVED, CKR.TOKEN_NOT_PRESENT,
            CKR.SESSION_HANDLE_INVALID, CKR.SESSION_CLOSED, CKR.TOKEN_NOT_RECOGNIZED);

    private final TokenSlot slot;
    private final String label;
    private final boolean needsLogin;
    private final boolean hasPinPad;
    private final boolean hasRandom;
    /** Mechanisms with the {@code CKF_} bits of what the token does with them. */
    private final Map<Integer, Integer> mechanisms = new HashMap<>();
    private final SessionPool sessions;
    private final Login login;

    Token(TokenSlot slot, Predicate<Integer> without, Login login) {
        this.slot = slot;
        this.login = login;
        TokenInfo info = slot.tokenInfo();
        label = info.label();
        needsLogin = (info.flags() & CKF.LOGIN_REQUIRED) != 0;
        hasPinPad = (info.flags() & CKF.PROTECTED_AUTHENTICATION_PATH) != 0;
        hasRandom = (info.flags() & CKF.RNG) != 0;
        sessions = new SessionPool(slot, info, PATIENCE_MILLIS);
        for (int mechanism : slot.mechanisms()) {
            if (!without.test(mechanism)) {
                mechanisms.put(mechanism, flags(mechanism));
            }
        }
    }

    /** A token that lists a mechanism and then does not know it is taken not to have it. */
    private int flags(int mechanism) {
        try {
            return slot.mechanismInfo(mechanism).flags();
        } catch (CryptokiException untold) {
            return 0;
        }
    }

    TokenSlot slot() {
        return slot;
    }

    String label() {
        return label;
    }

    boolean hasPinPad() {
        return hasPinPad;
    }

    boolean hasRandom() {
        return hasRandom;
    }

    /** Whether the token does something with a mechanism: {@code CKF_SIGN} and its like. */
    boolean does(int flag, int mechanism) {
        return (mechanisms.getOrDefault(mechanism, 0) & flag) != 0;
    }

    /** Whether the token has any mechanism for keys of a type. */
    boolean usesKeysOf(int keyType) {
        return mechanisms.keySet().stream().map(MechanismTable::find)
                .anyMatch(row -> row.isPresent() && row.get().keyTypes().contains(keyType));
    }

    SessionPool sessions() {
        return sessions;
    }

    /** Works with a session, which is given back in the end. */
    <T> T with(Work<T> work) {
        PooledSession session = take();
        try {
            return work.with(session.session());
        } catch (CryptokiException e) {
            throw noted(e);
        } finally {
            sessions.giveBack(session);
        }
    }

    /** Takes a session for an operation that may go on for long. */
    PooledSession take() {
        try {
            return sessions.take();
        } catch (CryptokiException e) {
            throw noted(e);
        }
    }

    /** Makes or finds a key in a session, which then stays open for it. */
    KeyReference reference(boolean stored, Work<TokenObject> work) {
        PooledSession session = take();
        try {
            return new KeyReference(this, session, work.with(session.session()), stored);
        } catch (CryptokiException e) {
            throw noted(e);
        } finally {
            sessions.giveBack(session);
        }
    }

    /** Takes note of a failure, which may tell that the sessions are gone. */
    <E extends Exception> E noted(E failure) {
        if (failure instanceof CryptokiException && LOSSES.contains(((CryptokiException) failure).code())) {
            sessions.beginAnew();
        }
        return failure;
    }

    /** Makes a session object that lives as long as the key that is made of it. */
    KeyReference create(Attribute... template) throws InvalidKeyException {
        try {
            return reference(false, session -> session.createObject(template));
        } catch (CryptokiException | IllegalArgumentException e) {
            throw new InvalidKeyException("The token does not take the key: " + e.getMessage(), e);
        }
    }

    boolean isLoggedIn() {
        int state = with(session -> session.info().state());
        return state == CKS.RW_USER_FUNCTIONS || state == CKS.RO_USER_FUNCTIONS;
    }

    /** Whether private objects and new ones take a login that has not happened. */
    boolean lacksLogin() {
        return needsLogin && !isLoggedIn();
    }

    /** Logs in unless somebody is; null for a PIN pad. */
    void login(char[] pin) {
        with(session -> session.loginIfNeeded(pin));
    }

    /** Logs out, which ends what was private: session objects among it. */
    void logout() {
        try {
            with(session -> {
                session.logout();
                return null;
            });
        } catch (CryptokiException e) {
            if (e.code() != CKR.USER_NOT_LOGGED_IN) {
                throw e;
            }
        }
        sessions.beginAnew();
    }

    /** Sees to it that somebody is logged in, where the token wants that. */
    void requireLogin() {
        login((CallbackHandler) null);
    }

    /** Does the same with the PIN that a handler knows. */
    void login(CallbackHandler handler) {
        try {
            if (lacksLogin()) {
                login.by(handler);
            }
        } catch (LoginException e) {
            throw new ProviderException("The token " + this + " wants a login: " + e.getMessage(), e);
        }
    }

    /** Does the same where it can; whoever cannot log in sees what is public. */
    void loginIfAnybodyKnowsThePin() {
        try {
            if (login.isPossible()) {
                requireLogin();
            }
        } catch (LoginException e) {
            throw new ProviderException(e.getMessage(), e);
        }
    }

    /** Logs in for the one operation that has begun with a key that wants the PIN each time. */
    void loginForOperation(Session session) {
        char[] pin = null;
        try {
            pin = login.pin();
            session.login(UserType.CONTEXT_SPECIFIC, pin);
        } catch (CryptokiException e) {
            // A token that keeps the attribute and does without the login (NSS).
            if (e.code() != CKR.USER_ALREADY_LOGGED_IN) {
                throw e;
            }
        } catch (LoginException e) {
            throw new ProviderException("The key wants the PIN each time: " + e.getMessage(), e);
        } finally {
            if (pin != null) {
                Arrays.fill(pin, '\0');
            }
        }
    }

    @Override
    public String toString() {
        return '"' + label + '"';
    }
}
