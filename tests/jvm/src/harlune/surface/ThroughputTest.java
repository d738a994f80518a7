package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

import velnor.CKM;
import velnor.Cryptoki;
import velnor.Mechanism;
import velnor.Session;
import velnor.Threading;
import velnor.TokenObject;
import velnor.TokenSlot;

/**
 * Sixteen threads on a token that takes 10 ms for a signature, through the surface and through the JDK's own bridge to
 * PKCS#11. Each has a copy of the module, and they take turns, so that whatever else the machine does slows down both.
 */
class ThroughputTest {
    private static final String MODULE = System.getProperty("harlune.slow-module");
    private static final int THREADS = 16;
    private static final int TURNS = 4;
    private static final long TURN = TimeUnit.MILLISECONDS.toNanos(400);
    private static final byte[] DATA = new byte[32];
    private static final int SIGNATURE_BYTES = 256;
    private static final long KEY = 1;

    @TempDir
    static Path directory;

    private static Cryptoki cryptoki;
    private static JdkBridge jdk;

    /** Something that signs with the only key, in a session of its own. */
    private interface Signing {
        byte[] sign() throws Exception;
    }

    @BeforeAll
    static void open() throws Exception {
        cryptoki = Surface.open(copy("surface.so").toString(), Threading.AUTOMATIC);
        jdk = new JdkBridge(copy("jdk.so"));
    }

    @AfterAll
    static void close() {
        cryptoki.close();
    }

    private static Path copy(String name) throws Exception {
        return Files.copy(Path.of(MODULE), directory.resolve(name));
    }

    /** What the JDK's provider stands on, reached by reflection since it belongs to no public interface. */
    private static final class JdkBridge {
        private static final String PACKAGE = "sun.security.pkcs11.wrapper.";
        private static final long SERIAL_SESSION = 4;

        private final Object module;
        private final Class<?> mechanismType = Class.forName(PACKAGE + "CK_MECHANISM");
        private final Method openSession;
        private final Method signInit;
        private final Method sign;

        JdkBridge(Path path) throws Exception {
            Class<?> type = Class.forName(PACKAGE + "PKCS11");
            Class<?> argumentsType = Class.forName(PACKAGE + "CK_C_INITIALIZE_ARGS");
            Object arguments = argumentsType.getConstructor().newInstance();
            argumentsType.getField("flags").setLong(arguments, velnor.CKF.OS_LOCKING_OK);
            Method getInstance = method(type, "getInstance");
            Object[] values = Arrays.copyOf(new Object[] {path.toString(), "C_GetFunctionList", arguments, false},
                    getInstance.getParameterCount());
            module = getInstance.invoke(null, values);
            openSession = method(type, "C_OpenSession");
            signInit = method(type, "C_SignInit");
            sign = method(type, "C_Sign");
        }

        private static Method method(Class<?> type, String name) {
            return Arrays.stream(type.getMethods()).filter(each -> each.getName().equals(name)).findFirst()
                    .orElseThrow();
        }

        Signing signing() throws Exception {
            Object session = openSession.invoke(module, 0L, SERIAL_SESSION, null, null);
            Object mechanism = mechanismType.getConstructor(long.class).newInstance((long) CKM.RSA_PKCS);
            return () -> {
                try {
                    signInit.invoke(module, session, mechanism, KEY);
                    return (byte[]) sign.invoke(module, session, DATA);
                } catch (InvocationTargetException e) {
                    throw (Exception) e.getCause();
                }
            };
        }
    }

    private static Signing surfaceSigning() {
        TokenSlot slot = cryptoki.tokenByLabel("slow");
        Session session = slot.openSession();
        TokenObject key = session.object(KEY);
        Mechanism mechanism = new Mechanism(CKM.RSA_PKCS);
        return () -> session.sign(mechanism, key, DATA);
    }

    /** How many signatures these make in a turn, each in a thread of its own. */
    private static int inATurn(ExecutorService threads, List<Signing> signings) throws Exception {
        long end = System.nanoTime() + TURN;
        List<Callable<Integer>> work = new ArrayList<>();
        for (Signing signing : signings) {
            work.add(() -> {
                int made = 0;
                while (System.nanoTime() < end) {
                    assertEquals(SIGNATURE_BYTES, signing.sign().length);
                    made++;
                }
                return made;
            });
        }
        int made = 0;
        for (Future<Integer> result : threads.invokeAll(work)) {
            made += result.get();
        }
        return made;
    }

    @Test
    void sixteenThreadsSignAsOftenAsThroughTheJdk() throws Exception {
        assertEquals(Threading.CONCURRENT, cryptoki.threading());
        List<Signing> ours = new ArrayList<>();
        List<Signing> jdks = new ArrayList<>();
        for (int i = 0; i < THREADS; i++) {
            ours.add(surfaceSigning());
            jdks.add(jdk.signing());
        }
        ExecutorService threads = Executors.newFixedThreadPool(THREADS);
        try {
            inATurn(threads, ours);
            inATurn(threads, jdks);
            int one = 0;
            int all = 0;
            int throughJdk = 0;
            for (int turn = 0; turn < TURNS; turn++) {
                all += inATurn(threads, ours);
                throughJdk += inATurn(threads, jdks);
                one += inATurn(threads, ours.subList(0, 1));
            }
            String found = all + " signatures of 16 threads, " + throughJdk + " through the JDK, " + one + " of one";
            System.out.println(found);
            assertTrue(all >= 0.9 * throughJdk, found);
            assertTrue(all >= 8 * one, found);
        } finally {
            threads.shutdown();
        }
    }
}
