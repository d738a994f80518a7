package velnor;

import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import java.util.function.Function;
import java.util.stream.Collectors;

import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSlot;

/**
 * A PKCS#11 module that is loaded and initialised: the way in.
 *
 * <pre>{@code
 * try (Cryptoki cryptoki = Cryptoki.open("/usr/lib/softhsm/libsofthsm2.so");
 *         Session session = cryptoki.tokenByLabel("tok1").openSession()) {
 *     session.login(pin);
 *     TokenObject key = session.findOne(new Attribute(CKA.CLASS, CKO.PRIVATE_KEY), new Attribute(CKA.LABEL, "mine"));
 *     byte[] signature = session.sign(new Mechanism(CKM.SHA256_RSA_PKCS), key, message);
 * }
 * }</pre>
 *
 * <p>The native library holds one module for the whole process, so one {@code Cryptoki} can be open at a time; to use
 * several modules together open {@code p11-kit-proxy.so}, which offers the slots of all that are configured for it.
 * Nobody else in the process may call {@link velnor.nat} or initialise the same module meanwhile.
 *
 * <p>All methods of this class, of its slots, sessions and objects may be called from any thread; {@link Threading}
 * tells how the calls reach the module. What a closed {@code Cryptoki} gave out refuses to work with an {@link
 * IllegalStateException}.
 */
public final class Cryptoki implements AutoCloseable {
    private static final int LISTING_TRIES = 5;
    private static final Duration BETWEEN_POLLS = Duration.ofMillis(100);
    private static final Duration FOREVER = Duration.ofDays(365_000);

    /** Guarded by the class. */
    private static Cryptoki current;
    /** The module that refused to be finalised last, or null; guarded by the class. */
    private static String unfinished;

    private final NativeCryptoki nat = new NativeCryptoki();
    private final Calls calls;
    /** As the program spelled it. */
    private final String name;
    private final String modulePath;
    /** The sessions that are open; guarded by {@link Calls#alone}. */
    private final Set<Session> sessions = Collections.newSetFromMap(new IdentityHashMap<>());
    private volatile boolean open = true;

    private Cryptoki(String module, Threading threading) {
        calls = new Calls(threading);
        name = module;
        bind(module);
        modulePath = NativeCryptoki.getLastLoadedLibraryFullPath();
    }

    /**
     * Loads and initialises a module; its calls are serialised.
     *
     * @param module the module's file name: an absolute path, or a name that the dynamic loader finds
     * @return the open module
     * @throws CryptokiException when the module cannot be loaded or does not initialise
     * @throws IllegalStateException when another module is open
     * @throws UnsatisfiedLinkError when the native library is not found; its message lists where it was looked for
     */
    public static Cryptoki open(String module) {
        return open(module, Threading.SERIALIZED);
    }

    /**
     * Loads and initialises a module; its calls are serialised.
     *
     * @param module the module's file
     * @return the open module
     * @throws CryptokiException when the module cannot be loaded or does not initialise
     * @throws IllegalStateException when another module is open
     * @throws UnsatisfiedLinkError when the native library is not found; its message lists where it was looked for
     */
    public static Cryptoki open(Path module) {
        return open(module.toAbsolutePath().toString());
    }

    /**
     * Loads and initialises a module.
     *
     * @param module the module's file name: an absolute path, or a name that the dynamic loader finds
     * @param threading how the calls of several threads reach the module
     * @return the open module
     * @throws CryptokiException when the module cannot be loaded or does not initialise
     * @throws IllegalStateException when another module is open
     * @throws UnsatisfiedLinkError when the native library is not found; its message lists where it was looked for
     */
    public static Cryptoki open(String module, Threading threading) {
        Objects.requireNonNull(module, "module");
        Objects.requireNonNull(threading, "threading");
        if (module.isEmpty() || module.indexOf('\0') >= 0) {
            throw new IllegalArgumentException("The module's file name is empty or has a zero in it");
        }
        NativeLibrary.load();
        synchronized (Cryptoki.class) {
            if (current != null) {
                throw new IllegalStateException("A process holds one module, and " + current + " is still open");
            }
            current = new Cryptoki(module, threading);
            return current;
        }
    }

    /**
     * Binds the module so that it stays mapped when it is closed: what it has left with a thread (the end of its
     * thread-local data, a thread of its own) runs later than that. The module is mapped once by the load and, since a
     * refused Finalize makes the library forget what it bound, once more by Initialize; closing takes away one of them.
     */
    private void bind(String module) {
        NativeCryptoki.loadCryptokiLibrary2(module, false);
        if (module.equals(unfinished)) {
            NativeCryptoki.loadCryptokiLibrary2(module, false); // finalises what was loaded, this time perhaps it may
        }
        try {
            nat.Finalize(null);
        } catch (CryptokiException expected) {
            if (expected.code() != CKR.CRYPTOKI_NOT_INITIALIZED) {
                throw expected;
            }
        }
        nat.Initialize(null);
        unfinished = null;
    }

    /**
     * Gives the module that is open in this process, as far as this class loader knows: for whoever has to close one
     * that was lost. It does not close itself when it is collected.
     *
     * @return the module, or empty when none is open
     */
    public static Optional<Cryptoki> current() {
        synchronized (Cryptoki.class) {
            return Optional.ofNullable(current);
        }
    }

    /**
     * Tells about the module.
     *
     * @return the information
     */
    public Info info() {
        return call(NativeCryptoki::GetInfo);
    }

    /**
     * Tells where the module lies.
     *
     * @return its full path; empty when it could not be found out
     */
    public String modulePath() {
        return modulePath;
    }

    /**
     * Tells whether signing with this module needs a second authentication, which is so unless the file beside the
     * module, named as the module with {@code .conf} appended, says {@code DsPinIsCNSPin=true}. This means something
     * for modules with a signer PIN only, whose file name contains {@code sissp11}.
     *
     * @return whether it is needed
     */
    public boolean isSecondAuthenticationRequired() {
        return call(NativeCryptoki::IsSecondAuthenticationRequired);
    }

    /**
     * Lists all slots.
     *
     * @return the slots in the module's order, with and without a token
     */
    public List<TokenSlot> slots() {
        return slots(false);
    }

    /**
     * Lists the slots that have a token.
     *
     * @return the slots in the module's order
     */
    public List<TokenSlot> slotsWithToken() {
        return slots(true);
    }

    private List<TokenSlot> slots(boolean tokenPresent) {
        NativeSlot[] slots = call(module -> slots(module, tokenPresent));
        return Arrays.stream(slots).map(this::slot).collect(Collectors.toUnmodifiableList());
    }

    /** A token that arrives between the count and the list of the native method makes the list too long. */
    private static NativeSlot[] slots(NativeCryptoki module, boolean tokenPresent) {
        for (int triesLeft = LISTING_TRIES;; triesLeft--) {
            try {
                return module.GetSlotList(tokenPresent);
            } catch (CryptokiException e) {
                if (e.code() != CKR.BUFFER_TOO_SMALL || triesLeft == 1) {
                    throw e;
                }
            }
        }
    }

    private TokenSlot slot(NativeSlot slot) {
        return new TokenSlot(this, slot);
    }

    /**
     * Finds the token with a label. A token that does not tell its label, because it is just being pulled or a number
     * of its does not fit an {@code int}, is passed over.
     *
     * @param label the label without its padding
     * @return its slot
     * @throws IllegalArgumentException when no token has the label, or several have; the message lists those there are
     */
    public TokenSlot tokenByLabel(String label) {
        Objects.requireNonNull(label, "label");
        List<TokenSlot> found = new ArrayList<>();
        List<String> present = new ArrayList<>();
        for (TokenSlot slot : slotsWithToken()) {
            try {
                String other = slot.tokenInfo().label();
                present.add('"' + other + '"');
                if (other.equals(label)) {
                    found.add(slot);
                }
            } catch (CryptokiException e) {
                present.add("one in " + slot + " that does not tell: " + e.getMessage());
            }
        }
        if (found.size() != 1) {
            throw new IllegalArgumentException((found.isEmpty() ? "No token has" : "Several tokens have")
                    + " the label \"" + label + "\"; there are " + present);
        }
        return found.get(0);
    }

    /**
     * Asks whether a token has come or gone since the last time, without waiting.
     *
     * @return the slot where it happened, or empty when nothing has happened
     * @throws CryptokiException when the module does not tell ({@code CKR_FUNCTION_NOT_SUPPORTED} from many)
     */
    public Optional<TokenSlot> pollSlotEvent() {
        try {
            return Optional.of(slot(call(module -> module.WaitForSlotEvent(CKF.DONT_BLOCK, null))));
        } catch (CryptokiException e) {
            if (e.code() == CKR.NO_EVENT) {
                return Optional.empty();
            }
            throw e;
        }
    }

    /**
     * Waits until a token comes or goes. The module is asked a few times a second and is free for others in between: a
     * thread that waited inside it could not be got out again before the module is closed, which some modules do not
     * survive.
     *
     * @return the slot where it happened
     * @throws InterruptedException when the thread is interrupted
     * @throws CryptokiException when the module does not tell ({@code CKR_FUNCTION_NOT_SUPPORTED} from many)
     * @throws IllegalStateException when the module is closed, or was meanwhile
     */
    public TokenSlot waitForSlotEvent() throws InterruptedException {
        return waitForSlotEvent(FOREVER).orElseThrow();
    }

    /**
     * Waits until a token comes or goes, but not longer than a while; see {@link #waitForSlotEvent()}.
     *
     * @param timeout how long to wait
     * @return the slot where it happened, or empty when nothing has happened
     * @throws InterruptedException when the thread is interrupted
     * @throws CryptokiException when the module does not tell ({@code CKR_FUNCTION_NOT_SUPPORTED} from many)
     * @throws IllegalStateException when the module is closed, or was meanwhile
     */
    public Optional<TokenSlot> waitForSlotEvent(Duration timeout) throws InterruptedException {
        Duration wanted = timeout.isNegative() ? Duration.ZERO : timeout;
        long begin = System.nanoTime();
        for (;;) {
            Optional<TokenSlot> event = pollSlotEvent();
            Duration left = wanted.minusNanos(System.nanoTime() - begin);
            if (event.isPresent() || left.isNegative() || left.isZero()) {
                return event;
            }
            TimeUnit.NANOSECONDS.sleep((left.compareTo(BETWEEN_POLLS) < 0 ? left : BETWEEN_POLLS).toNanos());
        }
    }

    /**
     * Tells whether this module is open.
     *
     * @return false after {@link #close()}
     */
    public boolean isOpen() {
        return open;
    }

    /**
     * Finalises the module; all its sessions end. Waits for calls that are under way. Closing a closed module does
     * nothing.
     *
     * @throws CryptokiException when the module refuses; it counts as closed all the same
     */
    @Override
    public void close() {
        synchronized (Cryptoki.class) {
            calls.alone(() -> {
                if (open) {
                    open = false;
                    sessions.clear();
                    current = null;
                    unfinished = name;
                    nat.Finalize(null);
                    unfinished = null;
                }
                return null;
            });
        }
    }

    <T> T call(Function<NativeCryptoki, T> call) {
        return calls.ordinary(() -> {
            requireOpen();
            return call.apply(nat);
        });
    }

    Calls calls() {
        return calls;
    }

    /** The registry of open sessions; touched only inside {@link Calls#alone}. */
    Set<Session> sessions() {
        return sessions;
    }

    void requireOpen() {
        if (!open) {
            throw new IllegalStateException(this + " is closed");
        }
    }

    @Override
    public String toString() {
        return "Cryptoki[" + modulePath + "]";
    }
}
