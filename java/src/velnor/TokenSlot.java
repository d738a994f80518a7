package velnor;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.TreeSet;
import java.util.function.Function;
import java.util.stream.Collectors;

import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** A slot of an open module, and the token in it. */
public final class TokenSlot implements Slot {
    private static final String NUMBER_TOO_LARGE = "Check64BitLen";

    private final Cryptoki cryptoki;
    private final NativeSlot nat;

    TokenSlot(Cryptoki cryptoki, NativeSlot nat) {
        this.cryptoki = cryptoki;
        this.nat = nat;
    }

    @Override
    public int slotID() {
        return nat.slotID();
    }

    /**
     * Tells which module the slot belongs to.
     *
     * @return the module
     */
    public Cryptoki cryptoki() {
        return cryptoki;
    }

    /**
     * Tells about the slot.
     *
     * @return the information
     */
    public SlotInfo slotInfo() {
        return call(NativeSlot::J_GetSlotInfo);
    }

    /**
     * Tells whether there is a token in the slot now.
     *
     * @return whether there is one
     */
    public boolean isTokenPresent() {
        return (slotInfo().flags() & CKF.TOKEN_PRESENT) != 0;
    }

    /**
     * Tells about the token.
     *
     * @return the information
     * @throws CryptokiException when there is no token ({@code CKR_TOKEN_NOT_PRESENT}), or when a number of its does
     *         not fit an {@code int}
     */
    public TokenInfo tokenInfo() {
        return call(NativeSlot::J_GetTokenInfo);
    }

    /**
     * Lists the mechanisms of the token. The token's own list does not arrive whole, so that the token is asked for
     * each mechanism of the standard besides; a vendor-defined one may be missing.
     *
     * @return the mechanism types ({@code CKM_}) in ascending order, taken as unsigned
     */
    public List<Integer> mechanisms() {
        Set<Integer> mechanisms = new TreeSet<>(Integer::compareUnsigned);
        // Codes of 64 bits, of which an array of 32-bit elements has brought the first half.
        int[] halves = call(NativeSlot::J_GetMechanismList);
        for (int low = 0; low < halves.length; low += 2) {
            mechanisms.add(halves[low]);
        }
        for (int mechanism : CKM.all()) {
            if (!mechanisms.contains(mechanism) && supports(mechanism)) {
                mechanisms.add(mechanism);
            }
        }
        return Collections.unmodifiableList(new ArrayList<>(mechanisms));
    }

    /**
     * Tells whether the token has a mechanism.
     *
     * @param mechanism the mechanism type ({@code CKM_})
     * @return whether it has
     */
    public boolean supports(int mechanism) {
        try {
            mechanismInfo(mechanism);
            return true;
        } catch (CryptokiException e) {
            if (e.code() == CKR.MECHANISM_INVALID) {
                return false;
            }
            if (e.functionName().equals(NUMBER_TOO_LARGE)) {
                return true;
            }
            throw e;
        }
    }

    /**
     * Tells what the token can do with a mechanism.
     *
     * @param mechanism the mechanism type ({@code CKM_})
     * @return the information
     * @throws CryptokiException when the token does not have the mechanism ({@code CKR_MECHANISM_INVALID}), or when a
     *         key size does not fit an {@code int} ({@link #supports(int)} answers then, too)
     */
    public MechanismInfo mechanismInfo(int mechanism) {
        return call(slot -> slot.J_GetMechanismInfo(mechanism));
    }

    /**
     * Opens a session that may change the token.
     *
     * @return the session
     * @throws CryptokiException when the token refuses, and ({@code CKR_SESSION_HANDLE_INVALID}) when the module's
     *         session handles do not fit 32 bits; the message says what to do then. If other sessions are open with the
     *         token, the refused one stays open until {@link #closeAllSessions()}
     */
    public Session openSession() {
        return openSession(CKF.SERIAL_SESSION | CKF.RW_SESSION);
    }

    /**
     * Opens a session that may only read.
     *
     * @return the session
     * @throws CryptokiException when the token refuses, and ({@code CKR_SESSION_HANDLE_INVALID}) when the module's
     *         session handles do not fit 32 bits; the message says what to do then. If other sessions are open with the
     *         token, the refused one stays open until {@link #closeAllSessions()}
     */
    public Session openReadOnlySession() {
        return openSession(CKF.SERIAL_SESSION);
    }

    private Session openSession(int flags) {
        return alone(slot -> {
            try {
                Session session = new Session(this, slot.J_OpenSession(flags));
                requireKnown(session);
                cryptoki.sessions().add(session);
                return session;
            } catch (CryptokiException e) {
                if (e.code() == CKR.SESSION_HANDLE_INVALID || e.code() == CKR.GENERAL_ERROR) {
                    abandon(e);
                }
                throw e;
            }
        });
    }

    /**
     * Refuses a session of which Java has a part of the handle only: the module does not know the part, or it is the
     * handle of another session.
     */
    private void requireKnown(Session session) {
        boolean known = cryptoki.sessions().stream().noneMatch(session::hasHandleOf);
        if (known) {
            try {
                session.nat().J_GetSessionInfo();
            } catch (CryptokiException e) {
                known = e.code() != CKR.SESSION_HANDLE_INVALID;
            }
        }
        if (!known) {
            throw new CryptokiException("J_OpenSession", CKR.SESSION_HANDLE_INVALID, "the session handles of this"
                    + " module do not fit 32 bits; open p11-kit-proxy.so instead, with this module configured for it"
                    + " (docs/guide.md, \"Which module\")");
        }
    }

    /**
     * Closes a session that the token may have opened and of which nobody knows the handle: with all sessions of the
     * token, and so not while others are open.
     */
    private void abandon(CryptokiException reason) {
        if (cryptoki.sessions().stream().noneMatch(session -> session.slot().equals(this))) {
            try {
                nat.J_CloseAllSessions();
            } catch (CryptokiException e) {
                reason.addSuppressed(e);
            }
        }
    }

    /** Closes all sessions with the token, whoever opened them. */
    public void closeAllSessions() {
        alone(slot -> {
            slot.J_CloseAllSessions();
            cryptoki.sessions().stream().filter(session -> session.slot().equals(this)).collect(Collectors.toList())
                    .forEach(Session::closed);
            return null;
        });
    }

    /**
     * Initialises the token: everything on it is destroyed. The token may have another slot ID afterwards. No session
     * may be open with it.
     *
     * @param soPin the security officer's PIN: the one that the token has, or the new one of a blank token
     * @param label the new label, at most 32 bytes of UTF-8
     */
    public void initToken(String soPin, String label) {
        Checks.pin(soPin);
        Checks.label(label);
        alone(slot -> {
            slot.J_InitToken(soPin, label);
            return null;
        });
    }

    private <T> T call(Function<NativeSlot, T> call) {
        return cryptoki.call(module -> call.apply(nat));
    }

    private <T> T alone(Function<NativeSlot, T> call) {
        return cryptoki.calls().alone(() -> {
            cryptoki.requireOpen();
            return call.apply(nat);
        });
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof TokenSlot && cryptoki == ((TokenSlot) other).cryptoki
                && nat.equals(((TokenSlot) other).nat);
    }

    @Override
    public int hashCode() {
        return Objects.hash(cryptoki, nat);
    }

    @Override
    public String toString() {
        return "TokenSlot[" + Integer.toUnsignedString(slotID()) + "]";
    }
}
