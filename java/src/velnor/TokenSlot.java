package velnor;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Objects;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

/** A slot of an open module, and the token in it. */
public final class TokenSlot implements Slot {
    private final Cryptoki cryptoki;
    private final long id;

    TokenSlot(Cryptoki cryptoki, long id) {
        this.cryptoki = cryptoki;
        this.id = id;
    }

    @Override
    public int slotID() {
        return (int) id;
    }

    /**
     * Tells which slot this is.
     *
     * @return all 64 bits of the module's slot ID; some modules change it when a token is initialised
     */
    @Override
    public long id() {
        return id;
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
        byte[] structure = new byte[InfoStructure.SLOT_INFO];
        information(Function.GET_SLOT_INFO, 0, structure);
        return InfoStructure.slotInfo(structure);
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
     * @throws CryptokiException when there is no token ({@code CKR_TOKEN_NOT_PRESENT})
     */
    public TokenInfo tokenInfo() {
        byte[] structure = new byte[InfoStructure.TOKEN_INFO];
        information(Function.GET_TOKEN_INFO, 0, structure);
        return InfoStructure.tokenInfo(structure);
    }

    /**
     * Lists the mechanisms of the token, but for vendors' that an {@code int} has no room for ({@link
     * #mechanismTypes()}).
     *
     * @return the mechanism types ({@code CKM_}) in ascending order, taken as unsigned
     */
    public List<Integer> mechanisms() {
        List<Integer> mechanisms = new ArrayList<>();
        for (long type : mechanismTypes()) {
            if (type == Integer.toUnsignedLong((int) type)) {
                mechanisms.add((int) type);
            }
        }
        return Collections.unmodifiableList(mechanisms);
    }

    /**
     * Lists the mechanisms of the token, all of them with all of their 64 bits.
     *
     * @return the mechanism types ({@code CKM_}) in ascending order, taken as unsigned, each once
     */
    public List<Long> mechanismTypes() {
        long[] types = cryptoki.module().call(module -> Lists.read(Function.GET_MECHANISM_LIST, module, id));
        List<Long> sorted = new ArrayList<>();
        Arrays.stream(types).distinct().boxed().sorted(Long::compareUnsigned).forEach(sorted::add);
        return Collections.unmodifiableList(sorted);
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
            throw e;
        }
    }

    /**
     * Tells what the token can do with a mechanism.
     *
     * @param mechanism the mechanism type ({@code CKM_})
     * @return the information
     * @throws CryptokiException when the token does not have the mechanism ({@code CKR_MECHANISM_INVALID})
     */
    public MechanismInfo mechanismInfo(int mechanism) {
        return mechanismInfo(Integer.toUnsignedLong(mechanism));
    }

    /**
     * Tells what the token can do with a mechanism.
     *
     * @param type the mechanism type, all 64 bits of it
     * @return the information
     * @throws CryptokiException when the token does not have the mechanism ({@code CKR_MECHANISM_INVALID})
     */
    public MechanismInfo mechanismInfo(long type) {
        byte[] structure = new byte[InfoStructure.MECHANISM_INFO];
        information(Function.GET_MECHANISM_INFO, type, structure);
        return InfoStructure.mechanismInfo(structure);
    }

    /**
     * Opens a session that may change the token.
     *
     * @return the session
     * @throws CryptokiException when the token refuses
     */
    public Session openSession() {
        return openSession(CKF.SERIAL_SESSION | CKF.RW_SESSION);
    }

    /**
     * Opens a session that may only read.
     *
     * @return the session
     * @throws CryptokiException when the token refuses
     */
    public Session openReadOnlySession() {
        return openSession(CKF.SERIAL_SESSION);
    }

    private Session openSession(int flags) {
        return new Session(SessionHandle.open(this, cryptoki.module(), flags));
    }

    /**
     * Closes all sessions with the token that this process has open. Waits for calls that are under way in them, and
     * refuses others.
     */
    public void closeAllSessions() {
        SessionHandle.closeAll(this, cryptoki.module());
    }

    /**
     * Initialises the token: everything on it is destroyed. The token may have another slot ID afterwards. No session
     * may be open with it.
     *
     * @param soPin the security officer's PIN: the one that the token has, or the new one of a blank token
     * @param label the new label, at most 32 bytes of UTF-8
     */
    public void initToken(String soPin, String label) {
        try (Pin pin = Pin.of(soPin)) {
            initToken(pin, label);
        }
    }

    /**
     * Initialises the token: everything on it is destroyed. The token may have another slot ID afterwards. No session
     * may be open with it.
     *
     * @param soPin the security officer's PIN, which is left as it is: the one that the token has, or the new one of a
     *        blank token; null for a reader with a PIN pad ({@code CKF_PROTECTED_AUTHENTICATION_PATH})
     * @param label the new label, at most 32 bytes of UTF-8
     */
    public void initToken(char[] soPin, String label) {
        try (Pin pin = Pin.of(soPin)) {
            initToken(pin, label);
        }
    }

    private void initToken(Pin pin, String label) {
        byte[] field = Checks.label(label);
        cryptoki.require(Function.INIT_TOKEN, module -> NativeFunctions.initToken(module, id, pin.bytes(), field));
    }

    private void information(Function function, long mechanism, byte[] structure) {
        cryptoki.require(function,
                module -> NativeFunctions.information(module, function.index(), id, mechanism, structure));
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof TokenSlot && cryptoki == ((TokenSlot) other).cryptoki
                && id == ((TokenSlot) other).id;
    }

    @Override
    public int hashCode() {
        return Objects.hash(cryptoki, id);
    }

    @Override
    public String toString() {
        return "TokenSlot[" + Long.toUnsignedString(id) + "]";
    }
}
