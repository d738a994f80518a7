package harlune.matrix;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;

import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/**
 * Every native method under a name of its own: the method's name, and where there are overloads, what tells them apart
 * as well, the result ("byte[] J_Sign") or else the parameters ("J_OpenSession(int)").
 */
final class NativeMethods {
    /** The chapters of the table, each with its native methods. */
    private static final Map<String, List<String>> CHAPTERS = new LinkedHashMap<>();
    private static final Map<String, Method> ALL = new LinkedHashMap<>();

    /** What a method that starts its operation itself, or asks for more than one thing, may fail as. */
    private static final Map<String, Set<String>> STEPS = Map.of(
            "J_GenerateRandom", Set.of("J_GenerateRandom", "J_SeedRandom"),
            "J_GetMechanismInfo", Set.of("J_GetMechanismInfo", "Check64BitLen"));

    static {
        chapter("Module", NativeCryptoki.class, "loadCryptokiLibrary", "loadCryptokiLibrary2", "loadCryptokiLibrary3",
                "getLastLoadedLibraryFullPath", "IsSecondAuthenticationRequired", "Initialize", "Finalize", "GetInfo");
        chapter("Slots", NativeCryptoki.class, "GetSlotList", "WaitForSlotEvent");
        chapter("Slots", NativeSlot.class, "J_GetSlotInfo", "J_GetTokenInfo", "J_GetMechanismList",
                "J_GetMechanismInfo");
        chapter("Sessions", NativeSlot.class, "J_OpenSession", "J_CloseAllSessions");
        chapter("Sessions", NativeSession.class, "J_CloseSession", "J_GetSessionInfo", "J_Login", "J_Logout",
                "J_GetFunctionStatus", "J_CancelFunction");
        chapter("Administration", NativeSlot.class, "J_InitToken");
        chapter("Administration", NativeSession.class, "J_InitPIN", "J_SetPIN");
        chapter("Random numbers", NativeSession.class, "J_GenerateRandom");
        chapter("Objects", NativeSession.class, "J_CreateObject", "J_CopyObject", "J_DestroyObject", "J_GetObjectSize",
                "J_GetAttributeValue", "J_SetAttributeValue", "J_FindObjects");
        chapter("Encryption", NativeSession.class, "J_Encrypt", "J_EncryptUpdate", "J_EncryptFinal");
        chapter("Decryption", NativeSession.class, "J_DecryptInit", "J_Decrypt", "J_DecryptUpdate", "J_DecryptFinal");
        chapter("Digests", NativeSession.class, "J_Digest", "J_DigestUpdate", "J_DigestKey", "J_DigestFinal");
        chapter("Signatures", NativeSession.class, "J_SignInit", "J_Sign", "J_SignUpdate", "J_SignFinal",
                "J_SignRecoverInit", "J_SignRecover");
        chapter("Verification", NativeSession.class, "J_Verify", "J_VerifyUpdate", "J_VerifyFinal",
                "J_VerifyRecoverInit", "J_VerifyRecover");
        chapter("Two operations at once", NativeSession.class, "J_DigestEncryptUpdate", "J_DecryptDigestUpdate",
                "J_SignEncryptUpdate", "J_DecryptVerifyUpdate");
        chapter("Operation state", NativeSession.class, "J_GetOperationState", "J_SetOperationState");
        chapter("Keys", NativeSession.class, "J_GenerateKey", "J_GenerateKeyPair", "J_WrapKey", "J_UnwrapKey",
                "J_DeriveKey");
    }

    private NativeMethods() {
    }

    private static void chapter(String title, Class<?> type, String... methods) {
        for (String method : methods) {
            List<Method> overloads = declared(type).filter(each -> each.getName().equals(method))
                    .sorted(Comparator.comparing(Method::getParameterCount).thenComparing(NativeMethods::parameters))
                    .toList();
            for (Method overload : overloads) {
                ALL.put(name(overload, overloads), overload);
                CHAPTERS.computeIfAbsent(title, key -> new ArrayList<>()).add(name(overload, overloads));
            }
        }
    }

    private static String name(Method method, List<Method> overloads) {
        String result = method.getReturnType().getSimpleName();
        if (overloads.size() == 1) {
            return method.getName();
        }
        boolean resultTellsApart = overloads.stream().map(Method::getReturnType).distinct().count() == overloads.size();
        return resultTellsApart ? result + " " + method.getName() : method.getName() + parameters(method);
    }

    private static String parameters(Method method) {
        return Arrays.stream(method.getParameterTypes()).map(Class::getSimpleName)
                .collect(Collectors.joining(", ", "(", ")"));
    }

    /** What the classes declare, whatever is listed here. */
    static Stream<Method> declared(Class<?> type) {
        return Arrays.stream(type.getDeclaredMethods()).filter(method -> Modifier.isNative(method.getModifiers()));
    }

    static Stream<Method> declared() {
        return Stream.of(NativeCryptoki.class, NativeSlot.class, NativeSession.class).flatMap(NativeMethods::declared);
    }

    static Map<String, List<String>> chapters() {
        return CHAPTERS;
    }

    /** The methods by name, in the order of the chapters. */
    static Map<String, Method> all() {
        return ALL;
    }

    /** Under which function names the method may report a refusal. */
    static Set<String> reportNames(String method) {
        String plain = ALL.get(method).getName();
        String report = plain.startsWith("J_") ? plain : "J_" + plain;
        boolean starts = ALL.get(method).getParameterTypes().length > 1
                && ALL.get(method).getParameterTypes()[1] == boolean.class;
        Set<String> steps = STEPS.get(plain);
        if (steps != null) {
            return steps;
        }
        return starts ? Set.of(report, report.replaceAll("(Update|Key)$", "") + "Init") : Set.of(report);
    }
}
