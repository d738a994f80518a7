package velnor;

import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.concurrent.TimeUnit;
import java.util.function.LongToIntFunction;
import java.util.function.Supplier;
import java.util.stream.Collectors;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;

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
 * <p>Any number of modules can be open at the same time, each once. Nobody else in the process may initialise the same
 * module meanwhile, be it through {@link velnor.nat}.
 *
 * <p>All methods of this class, of its slots, sessions and objects may be called from any thread; {@link Threading}
 * tells how the calls reach the module. What a closed {@code Cryptoki} gave out refuses to work with an {@link
 * IllegalStateException}.
 */
public final class Cryptoki implements AutoCloseable {
    private static final Duration BETWEEN_POLLS = Duration.ofMillis(100);
    private static final Duration FOREVER = Duration.ofDays(365_000);

    /** Those that are open, in the order of their opening; also the monitor that guards it. */
    private static final List<Cryptoki> opened = new ArrayList<>();

    private final LoadedModule module;

    private Cryptoki(LoadedModule module) {
        this.module = module;
    }

    /**
     * Loads and initialises a module, with {@link OpenOptions#DEFAULT}.
     *
     * @param module the module's file name: an absolute path, or a name that the dynamic loader finds
     * @return the open module
     * @throws CryptokiException when the module cannot be loaded or does not initialise
     * @throws IllegalStateException when the module is open already
     * @throws UnsatisfiedLinkError when the native library is not found; its message lists where it was looked for
     */
    public static Cryptoki open(String module) {
        return open(module, OpenOptions.DEFAULT);
    }

    /**
     * Loads and initialises a module, with {@link OpenOptions#DEFAULT}. The path's own bytes are used, also where they
     * are no characters.
     *
     * @param module the module's file
     * @return the open module
     * @throws CryptokiException when the module cannot be loaded or does not initialise
     * @throws IllegalStateException when the module is open already
     * @throws UnsatisfiedLinkError when the native library is not found; its message lists where it was looked for
     */
    public static Cryptoki open(Path module) {
        return open(ModuleName.of(module), OpenOptions.DEFAULT);
    }

    /**
     * Loads and initialises a module.
     *
     * @param module the module's file name: an absolute path, or a name that the dynamic loader finds
     * @param threading how the calls of several threads reach the module
     * @return the open module
     * @throws CryptokiException when the module cannot be loaded or does not initialise
     * @throws IllegalStateException when the module is open already
     * @throws UnsatisfiedLinkError when the native library is not found; its message lists where it was looked for
     */
    public static Cryptoki open(String module, Threading threading) {
        return open(module, OpenOptions.DEFAULT.threading(threading));
    }

    /**
     * Loads and initialises a module.
     *
     * @param module the module's file name: an absolute path, or a name that the dynamic loader finds
     * @param options how
     * @return the open module
     * @throws CryptokiException when the module cannot be loaded or does not initialise
     * @throws IllegalStateException when the module is open already
     * @throws UnsatisfiedLinkError when the native library is not found; its message lists where it was looked for
     */
    public static Cryptoki open(String module, OpenOptions options) {
        return open(ModuleName.of(module), options);
    }

    private static Cryptoki open(ModuleName module, OpenOptions options) {
        Objects.requireNonNull(options, "options");
        NativeLibrary.load();
        Cryptoki cryptoki = new Cryptoki(LoadedModule.open(module, options));
        synchronized (opened) {
            opened.add(cryptoki);
        }
        return cryptoki;
    }

    /**
     * Gives the module that was opened last of those that are open in this process, as far as this class loader knows:
     * for whoever has to close one that was lost. It does not close itself when it is collected.
     *
     * @return the module, or empty when none is open
     */
    public static Optional<Cryptoki> current() {
        List<Cryptoki> all = allOpen();
        return all.isEmpty() ? Optional.empty() : Optional.of(all.get(all.size() - 1));
    }

    /**
     * Lists the modules that are open in this process, as far as this class loader knows.
     *
     * @return the modules in the order in which they were opened
     */
    public static List<Cryptoki> allOpen() {
        synchronized (opened) {
            opened.removeIf(cryptoki -> !cryptoki.isOpen());
            return Collections.unmodifiableList(new ArrayList<>(opened));
        }
    }

    /**
     * Tells about the module.
     *
     * @return the information
     */
    public Info info() {
        byte[] structure = new byte[InfoStructure.INFO];
        require(Function.GET_INFO,
                id -> NativeFunctions.information(id, Function.GET_INFO.index(), 0, 0, structure));
        int bridge = NativeFunctions.version();
        return InfoStructure.info(structure, new Version(bridge & 0xFF, bridge >> 8));
    }

    /**
     * Tells where the module lies.
     *
     * @return its full path; empty when it could not be found out
     */
    public String modulePath() {
        return module.path();
    }

    /**
     * Tells how the calls of several threads reach the module: what {@link Threading#AUTOMATIC} has come to.
     *
     * @return {@link Threading#CONCURRENT} or {@link Threading#SERIALIZED}
     */
    public Threading threading() {
        return module.isConcurrent() ? Threading.CONCURRENT : Threading.SERIALIZED;
    }

    /**
     * Tells whether signing with this module needs a second authentication, which is so unless the file beside the
     * module, named as the module with {@code .conf} appended, says {@code DsPinIsCNSPin=true}. This means something
     * for modules with a signer PIN only, whose file name contains {@code sissp11}.
     *
     * @return whether it is needed
     */
    public boolean isSecondAuthenticationRequired() {
        return module.call(NativeFunctions::isSecondAuthenticationRequired);
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
        long[] slots = module.call(id -> Lists.read(Function.GET_SLOT_LIST, id, tokenPresent ? 1 : 0));
        return Arrays.stream(slots).mapToObj(this::slot).collect(Collectors.toUnmodifiableList());
    }

    private TokenSlot slot(long id) {
        return new TokenSlot(this, id);
    }

    /**
     * Finds the token with a label. A token that does not tell its label, because it is just being pulled, is passed
     * over.
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
        long[] slot = new long[1];
        int answer = module.call(id -> NativeFunctions.waitForSlotEvent(id, CKF.DONT_BLOCK, slot));
        if (answer == CKR.NO_EVENT) {
            return Optional.empty();
        }
        Answers.require(Function.WAIT_FOR_SLOT_EVENT, answer);
        return Optional.of(slot(slot[0]));
    }

    /**
     * Watches the slots, whether the module tells of events or has to be asked slot by slot.
     *
     * @return a watch that knows the slots as they are now
     */
    public SlotWatch watchSlots() {
        return new SlotWatch(this);
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
        return poll(this::pollSlotEvent, timeout);
    }

    /** Polls a few times a second until something has happened or the time is over. */
    static Optional<TokenSlot> poll(Supplier<Optional<TokenSlot>> events, Duration timeout)
            throws InterruptedException {
        Duration wanted = timeout.isNegative() ? Duration.ZERO : timeout;
        long begin = System.nanoTime();
        for (;;) {
            Optional<TokenSlot> event = events.get();
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
        return module.isOpen();
    }

    /**
     * Finalises the module; all its sessions end. Waits for calls that are under way and refuses others. Closing a
     * closed module does nothing.
     *
     * @throws CryptokiException when the module refuses; it counts as closed all the same
     */
    @Override
    public void close() {
        Answers.require(Function.FINALIZE, module.close(null));
    }

    /**
     * Finalises the module as {@link #close()} does, unless calls that are under way take too long. Then the module is
     * as open as before, lets calls enter again, and can be closed later. {@code C_Finalize} itself, once it has begun,
     * is waited for.
     *
     * @param limit how long to wait for calls that are under way
     * @throws IllegalStateException when some have not come back by then; the module is open as before
     * @throws CryptokiException when the module refuses; it counts as closed all the same
     */
    public void close(Duration limit) {
        Answers.require(Function.FINALIZE, module.close(Objects.requireNonNull(limit, "limit")));
    }

    LoadedModule module() {
        return module;
    }

    /** Calls a function without a session that only answers, and must answer CKR_OK. */
    void require(Function function, LongToIntFunction call) {
        Answers.require(function, module.call(call::applyAsInt));
    }

    @Override
    public String toString() {
        return module.toString();
    }
}
